#include "peripherals/zolv-power-sequence.h"

#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-stop.h"
#include "core/zolv-text.h"

#include <optional>

namespace {

using namespace std::chrono_literals;
using zolv::PowerLine;
using zolv::PowerStep;

/* Where a sequence is, beside the hardware. */
class Run {
  public:
    Run(std::span<const PowerStep> steps, const zolv::PowerHardware &hardware, bool goes_on_always)
        : steps_(steps), hardware_(hardware), goes_on_always_(goes_on_always)
    {
    }

    bool run(GError **error)
    {
        for (std::size_t i = 0; i < steps_.size(); i++) {
            const PowerStep &step = steps_[i];
            g_autoptr(GError) step_error = nullptr;

            if (i > last_drive())
                finish_first_.reset();
            if (!applies(step))
                continue;
            if (changes_hardware(step) && !finish_first_)
                finish_first_.emplace();
            if (!take(step, &step_error) && !goes_on_after(step, &step_error)) {
                g_propagate_error(error, g_steal_pointer(&step_error));
                return false;
            }
        }
        return true;
    }

  private:
    /* A command may be the first step of a module's end. */
    static bool changes_hardware(const PowerStep &step)
    {
        return step.kind == PowerStep::Kind::drive || step.kind == PowerStep::Kind::command;
    }

    std::size_t last_drive() const
    {
        std::size_t last = 0;

        for (std::size_t i = 0; i < steps_.size(); i++)
            if (steps_[i].kind == PowerStep::Kind::drive)
                last = i;
        return last;
    }

    bool has_modem()
    {
        if (!has_modem_)
            has_modem_ = hardware_.has_modem && hardware_.has_modem();
        return *has_modem_;
    }

    bool applies(const PowerStep &step)
    {
        if ((step.conditions & PowerStep::alive_wired) != 0 && !hardware_.alive_wired)
            return false;
        if ((step.conditions & PowerStep::alive_unwired) != 0 && hardware_.alive_wired)
            return false;
        return (step.conditions & PowerStep::commanded) == 0 || has_modem();
    }

    bool drive(const PowerStep &step, GError **error) const
    {
        const zolv::GpioLine &line = hardware_.lines[step.line];

        if (!line.defined() && step.line != PowerLine::power && step.line != PowerLine::power_off)
            return true;
        return line.drive(step.level, error);
    }

    bool expect(const PowerStep &step, GError **error)
    {
        guint level = 0;

        if (!hardware_.lines[step.line].read(&level, error))
            return false;
        if (level == step.level)
            return true;
        zolv_obj_log(hardware_.owner, TVL_LOG_ERROR, "%s", step.text);
        wrong_level_ = true;
        return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, step.text);
    }

    /* Outside of what is finished first, this is a stop: the sequence has not begun. */
    static bool wait(const PowerStep &step, GError **error)
    {
        return zolv::pause(step.duration) || stopping(error);
    }

    static bool stopping(GError **error)
    {
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "The service is stopping");
    }

    static guint seconds(const PowerStep &step) { return static_cast<guint>(step.duration / 1s); }

    bool wait_modem(const PowerStep &step, GError **error) const
    {
        return hardware_.modem_ready(seconds(step)) ||
               zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                          step.complaint != nullptr ? step.complaint : "Modem is not ready");
    }

    bool command(const PowerStep &step, GError **error) const
    {
        if (step.announced)
            ZOLV_OBJ_DEBUG(hardware_.owner, "Run AT: %s", step.text);
        return hardware_.exec_at_cmd(step.text, seconds(step), error);
    }

    bool take(const PowerStep &step, GError **error)
    {
        switch (step.kind) {
        case PowerStep::Kind::drive:
            return drive(step, error);
        case PowerStep::Kind::expect:
            return expect(step, error);
        case PowerStep::Kind::wait:
            return wait(step, error);
        case PowerStep::Kind::wait_alive:
            return hardware_.wait_alive(step.level, seconds(step), error);
        case PowerStep::Kind::wait_modem:
            return wait_modem(step, error);
        case PowerStep::Kind::command:
            return command(step, error);
        case PowerStep::Kind::tell:
            ZOLV_OBJ_DEBUG(hardware_.owner, "%s", step.text);
            return true;
        }
        return true;
    }

    /* What the failure of a step does. */
    bool goes_on_after(const PowerStep &step, GError **error)
    {
        /* Else the power would be cut under a modem that runs. */
        if (step.kind == PowerStep::Kind::wait_modem && !finish_first_ && zolv::stop_requested()) {
            g_clear_error(error);
            return stopping(error);
        }
        if (goes_on_always_) {
            zolv_obj_log_failed_step(hardware_.owner, zolv::fit_text((*error)->message).c_str());
            return true;
        }
        if (step.log_level != 0 && !wrong_level_)
            zolv_obj_log(hardware_.owner, step.log_level, "%s", step.complaint);
        if (step.failure == PowerStep::Failure::skips_commands)
            has_modem_ = false;
        return step.failure == PowerStep::Failure::goes_on ||
               step.failure == PowerStep::Failure::skips_commands;
    }

    std::span<const PowerStep> steps_;
    const zolv::PowerHardware &hardware_;
    bool goes_on_always_;
    std::optional<bool> has_modem_;
    bool wrong_level_ = false; /* of which the log has been told */
    std::optional<zolv::FinishFirst> finish_first_;
};

} // namespace

bool
zolv::run_steps(std::span<const PowerStep> steps, const PowerHardware &hardware, GError **error)
{
    return Run(steps, hardware, false).run(error);
}

void
zolv::define_by_steps(std::span<const PowerStep> steps, const PowerHardware &hardware)
{
    Run(steps, hardware, true).run(nullptr);
}

bool
zolv::wait_alive_pin(ZolvObj *owner, int pin, guint level, guint timeout_s, const char *what,
                     GError **error)
{
    if (pin == -1) {
        ZOLV_OBJ_DEBUG(owner, "No alive pin defined, sleep %d seconds",
                       static_cast<int>(timeout_s));
        pause(std::chrono::seconds(timeout_s));
        return true;
    }
    for (guint looks = 2 * timeout_s; looks > 0; looks--) {
        guint value = 0;

        if (!zolv_helper_get_sysfs_gpio_value(pin, &value, error))
            return false;
        if (value == level)
            return true;
        if (!pause(500ms))
            break;
    }
    return failf(error, ZOLV_CORE_ERROR_PERIPH_NOT_READY,
                 "The %s alive pin is not in the expected state: %d", what,
                 static_cast<int>(level));
}
