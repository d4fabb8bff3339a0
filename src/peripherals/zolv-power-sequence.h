#pragma once

#include "helpers/zolv-gpio-line.h"
#include "tvl-log.h"
#include "zolv-obj.h"

#include <array>
#include <chrono>
#include <functional>
#include <span>

namespace zolv {

inline constexpr char modem_not_reached[] =
    "The connection to Modem Manager has not been established yet";

/* What the GPIO lines of a radio module's wiring do, whichever wiring it is. */
enum class PowerLine : unsigned char {
    power,        /* high is on */
    power_off,    /* high is off */
    power_status, /* reads high while the module has power */
    enable,
    wdisable, /* high keeps the radio silent */
    reset,
    sim,
    extra0, /* without a name on the board's plan */
    extra1,
    extra2,
    count,
};

class PowerLines {
  public:
    GpioLine &operator[](PowerLine line) { return lines_[static_cast<std::size_t>(line)]; }
    const GpioLine &operator[](PowerLine line) const
    {
        return lines_[static_cast<std::size_t>(line)];
    }

  private:
    std::array<GpioLine, static_cast<std::size_t>(PowerLine::count)> lines_;
};

/*
 * One step of a power sequence. A sequence is a constexpr array of steps, each made by one of the
 * functions below; what its failure does stands behind it. By default it ends the sequence with its
 * error.
 */
struct PowerStep {
    enum class Kind : unsigned char { drive, expect, wait, wait_alive, wait_modem, command, tell };
    enum class Failure : unsigned char { ends, ends_with, goes_on, skips_commands };
    enum Condition : unsigned char {
        always = 0,
        alive_wired = 1,   /* the wiring has a line that shows whether the module is alive */
        alive_unwired = 2, /* it has none */
        commanded = 4,     /* there is a modem that takes commands, and it has not been given up */
    };

    Kind kind;
    PowerLine line = PowerLine::count;
    guint level = 0; /* of a line */
    std::chrono::milliseconds duration{};
    const char *text = nullptr; /* the command; what is told; what a wrong level means */
    bool announced = false;     /* whether the log tells of the command before it is sent */
    unsigned conditions = always;
    Failure failure = Failure::ends;
    int log_level = 0; /* of the complaint; 0 for none */
    const char *complaint = nullptr;

    /* It fails, and an error line says so. */
    consteval PowerStep or_complain(const char *what) const
    {
        return with(Failure::ends, TVL_LOG_ERROR, what);
    }
    /* It fails as what is not permitted now, for this reason. */
    consteval PowerStep or_refuse(const char *reason) const
    {
        return with(Failure::ends_with, 0, reason);
    }
    /* A line says so, and the sequence goes on. */
    consteval PowerStep or_go_on(int level_of_line, const char *what) const
    {
        return with(Failure::goes_on, level_of_line, what);
    }
    /* The same, and no commands are sent. */
    consteval PowerStep or_skip_commands(int level_of_line, const char *what) const
    {
        return with(Failure::skips_commands, level_of_line, what);
    }
    consteval PowerStep if_alive_wired() const { return on(alive_wired); }
    consteval PowerStep if_alive_unwired() const { return on(alive_unwired); }
    consteval PowerStep if_commanded() const { return on(commanded); }

  private:
    consteval PowerStep with(Failure what, int level_of_line, const char *text_of_line) const
    {
        PowerStep step = *this;
        step.failure = what;
        step.log_level = level_of_line;
        step.complaint = text_of_line;
        return step;
    }
    consteval PowerStep on(Condition condition) const
    {
        PowerStep step = *this;
        step.conditions |= condition;
        return step;
    }
};

/* A line that is not wired is passed over, but for those that switch the power. */
consteval PowerStep
drive(PowerLine line, guint level)
{
    return {.kind = PowerStep::Kind::drive, .line = line, .level = level};
}

/* The line has to read that level; else it means @text, an error line. */
consteval PowerStep
expect(PowerLine line, guint level, const char *text)
{
    return {.kind = PowerStep::Kind::expect, .line = line, .level = level, .text = text};
}

consteval PowerStep
wait(std::chrono::milliseconds duration)
{
    return {.kind = PowerStep::Kind::wait, .duration = duration};
}

consteval PowerStep
wait_alive(guint level, std::chrono::seconds at_most)
{
    return {.kind = PowerStep::Kind::wait_alive, .level = level, .duration = at_most};
}

/* Until the modem, if there is one that takes commands, can be reached. */
consteval PowerStep
wait_modem(std::chrono::seconds at_most)
{
    return {.kind = PowerStep::Kind::wait_modem,
            .duration = at_most,
            .conditions = PowerStep::commanded};
}

/* An AT command to the modem, if there is one that takes commands. */
consteval PowerStep
command(const char *text, std::chrono::seconds at_most = std::chrono::seconds(1))
{
    return {.kind = PowerStep::Kind::command,
            .duration = at_most,
            .text = text,
            .conditions = PowerStep::commanded};
}

/* The same, and a debug line tells of it. */
consteval PowerStep
announced_command(const char *text)
{
    PowerStep step = command(text);
    step.announced = true;
    return step;
}

/* A debug line. */
consteval PowerStep
tell(const char *text)
{
    return {.kind = PowerStep::Kind::tell, .text = text};
}

/* Sequences one after the other. */
template <std::size_t n, std::size_t m>
consteval std::array<PowerStep, n + m>
operator+(const std::array<PowerStep, n> &first, const std::array<PowerStep, m> &then)
{
    std::array<PowerStep, n + m> both = {};

    for (std::size_t i = 0; i < n; i++)
        both[i] = first[i];
    for (std::size_t i = 0; i < m; i++)
        both[n + i] = then[i];
    return both;
}

/* What a sequence works on. */
struct PowerHardware {
    ZolvObj *owner; /* its id stands in the log */
    const PowerLines &lines;
    bool alive_wired = false;
    /* Only asked where a step needs them. */
    std::function<bool(guint level, guint timeout_s, GError **error)> wait_alive = {};
    std::function<bool()> has_modem = {}; /* one that takes commands */
    std::function<bool(guint timeout_s)> modem_ready = {};
    std::function<bool(const char *command, guint timeout_s, GError **error)> exec_at_cmd = {};
};

/*
 * Runs a sequence, on the main loop or in a Worker's thread, which it holds meanwhile.
 *
 * A stop of the daemon never leaves hardware between two lines: what waits before the first line
 * that is driven or after the last is cut short, what lies between lasts as long as it says. Where
 * the wait for a modem is cut, the sequence ends before it has changed anything.
 */
bool run_steps(std::span<const PowerStep> steps, const PowerHardware &hardware, GError **error);

/* The same for a definition, which has nobody to give an error to: a step that fails is logged and
 * the others are run. */
void define_by_steps(std::span<const PowerStep> steps, const PowerHardware &hardware);

/* Waits until the line @pin reads @level, looking twice a second; -1 is a line that is not wired,
 * for which the whole time is waited. A line that does not get there is an error that names @what
 * it belongs to. */
bool wait_alive_pin(ZolvObj *owner, int pin, guint level, guint timeout_s, const char *what,
                    GError **error);

} // namespace zolv
