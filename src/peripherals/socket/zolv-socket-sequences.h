#pragma once

#include "peripherals/zolv-power-sequence.h"

namespace zolv {

/*
 * The sequences that several wirings share. Those of one wiring stand in its file.
 */

/* The same steps, whose failures are told by the caller alone. */
template <std::size_t n>
consteval std::array<PowerStep, n>
without_complaints(std::array<PowerStep, n> steps)
{
    for (PowerStep &step : steps)
        step.log_level = 0;
    return steps;
}

/* clang-format off */

/* Wirings without a line that shows when the module has ended: it is told to be fast. */
inline constexpr std::array fast_end = {
    drive(PowerLine::wdisable, 1).or_complain("Failed to set W-Disable Pin"),
    wait(std::chrono::milliseconds(500)),
    command("AT#FASTSHDN"),
    wait(std::chrono::seconds(1)).if_commanded(),
    drive(PowerLine::power, 0).or_complain("Failed to set Power Pin"),
};

inline constexpr std::array fast_off_after_50_s = std::array{
    wait_modem(std::chrono::seconds(50)).or_refuse(modem_not_reached),
} + without_complaints(fast_end);

inline constexpr std::array fast_off_after_30_s = std::array{
    wait_modem(std::chrono::seconds(30)).or_refuse(modem_not_reached),
} + without_complaints(fast_end);

inline constexpr std::array fast_recover = {
    drive(PowerLine::power, 0).or_complain("Failed to set Power Pin"),
    wait(std::chrono::seconds(5)),
    drive(PowerLine::power, 1).or_complain("Failed to set Power Pin"),
    tell("Try to revocer Telit"),
};

/* Wirings that may have such a line; the module then takes the time that it needs. */
inline constexpr std::array watched_on = {
    drive(PowerLine::wdisable, 0),
    drive(PowerLine::reset, 0),
    wait(std::chrono::seconds(1)),
    drive(PowerLine::power, 1),
    wait_alive(1, std::chrono::seconds(20)).if_alive_wired().or_go_on(TVL_LOG_DEBUG, "Failed to monitor power"),
};

inline constexpr std::array watched_off = {
    wait_modem(std::chrono::seconds(50)).or_skip_commands(TVL_LOG_ERROR, modem_not_reached),
    drive(PowerLine::wdisable, 1),
    wait(std::chrono::milliseconds(200)),
    announced_command("AT#SHDN").if_alive_wired().or_go_on(TVL_LOG_ERROR, "Failed to shutdown by AT Command"),
    announced_command("AT#FASTSHDN").if_alive_unwired().or_go_on(TVL_LOG_ERROR, "Failed to shutdown by AT Command"),
    wait_alive(0, std::chrono::seconds(15)).if_alive_wired().or_go_on(TVL_LOG_DEBUG, "Failed to monitor power"),
    wait(std::chrono::seconds(1)).if_alive_unwired(),
    drive(PowerLine::power, 0),
};

inline constexpr std::array watched_recover = {
    expect(PowerLine::power, 1, "Power status should be high because cellular is in protection mode")
        .or_complain("Get power status failed"),
    drive(PowerLine::power, 0).or_complain("Set power low failed"),
    wait(std::chrono::seconds(5)),
    drive(PowerLine::power, 1).or_complain("Set power high failed"),
    tell("Recover is done"),
};

/* clang-format on */

} // namespace zolv
