#include "peripherals/zolv-stored-switch.h"

#include "core/zolv-obj-log.h"

bool
zolv::StoredSwitch::define()
{
    const std::optional<bool> stored = setting_.read();

    if (!stored) {
        zolv_obj_log(owner_, TVL_LOG_INFO, "First time to use %s, set to default", rules_.name);
        store(off);
    }
    const bool is_on = stored.value_or(false);
    publish(is_on ? on : off);
    return is_on;
}

guint
zolv::StoredSwitch::published() const
{
    guint state = not_applicable;

    g_object_get(skeleton_, rules_.property, &state, nullptr);
    return state;
}

void
zolv::StoredSwitch::publish(guint state)
{
    g_object_set(skeleton_, rules_.property, state, nullptr);
}

bool
zolv::StoredSwitch::allows(BusCall &call, bool disabled) const
{
    const SwitchRefusal *refusal = disabled                        ? &rules_.disabled
                                   : published() == not_applicable ? &rules_.absent
                                                                   : nullptr;

    return refusal == nullptr || call.refuse(refusal->level, refusal->code, refusal->text);
}

void
zolv::StoredSwitch::store(guint state)
{
    setting_.store(state == on);
}
