#include "peripherals/zolv-stored-switch.h"

#include "core/zolv-obj-log.h"
#include "helpers/zolv-helpers-config.h"

bool
zolv::StoredSwitch::define()
{
    gboolean is_on = FALSE;

    if (!zolv_helper_config_get_gboolean(zolv_obj_get_id(owner_), rules_.key, &is_on)) {
        is_on = FALSE;
        zolv_obj_log(owner_, TVL_LOG_INFO, "First time to use %s, set to default", rules_.name);
        store(off);
    }
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
    zolv_helper_config_set_gboolean(zolv_obj_get_id(owner_), rules_.key, state == on);
}
