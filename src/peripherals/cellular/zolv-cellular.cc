#include "peripherals/cellular/zolv-cellular.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-stop.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-watchdog.h"
#include "helpers/zolv-mm-client.h"
#include "peripherals/zolv-power-sequence.h"
#include "peripherals/zolv-socket-calls.h"

namespace {

using namespace std::chrono_literals;

/* Between two questions whether the modem is ready. */
constexpr guint question_interval_s = 5;
/* The watchdog is kicked after so many further questions. */
constexpr guint questions_per_kick = 5;
/* How long the bus waits for an answer that does not come. */
constexpr guint unanswered_s = 25;

bool
is_unanswered(const GError *error)
{
    return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMED_OUT) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT);
}

void
kick_watchdog(ZolvObj *obj)
{
    g_autoptr(GError) error = nullptr;

    zolv_obj_log(obj, TVL_LOG_WARN, "Kick watchdog to prevent system reboot");
    if (!zolv_helpers_watchdog_kick(&error))
        zolv_obj_log(obj, TVL_LOG_WARN, "Failed to kick watchdog: %s", error->message);
}

bool
is_at(ZolvObj *obj, GUdevDevice *device)
{
    return g_strcmp0(g_udev_device_get_sysfs_path(device), zolv_obj_get_sysfs_path(obj)) == 0;
}

} // namespace

/* The path's name stands in an assertion's text. */
struct _ZolvCellularPrivate {
    explicit _ZolvCellularPrivate(ZolvCellular *self)
        : skeleton(zolv_gdbus_obj_cellular_skeleton_new()), calls(ZOLV_OBJ(self), skeleton.get())
    {
        zolv_gdbus_object_skeleton_set_obj_cellular(ZOLV_GDBUS_OBJECT_SKELETON(self),
                                                    skeleton.get());
    }

    zolv::ObjectPtr<ZolvGdbusObjCellular> skeleton;
    zolv::SocketCalls calls;
    zolv::CharPtr cellular_syspath;
};

static gboolean
cellular_device_add(ZolvCellular *, GUdevDevice *)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
cellular_check_matched(ZolvCellular *, GUdevDevice *)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
cellular_support_at_shutdown(ZolvCellular *)
{
    return FALSE;
}

static gboolean
cellular_exec_at_cmd(ZolvCellular *self, const char *command, guint timeout_s, GError **error)
{
    return zolv_mm_client_exec_at_cmd(self->priv->cellular_syspath.get(), command, timeout_s,
                                      error);
}

static gboolean
cellular_mm_cli_connected(ZolvCellular *cellular, GError **error)
{
    const ZolvCellularPrivate *self = cellular->priv;

    ZOLV_ASSERT(self->cellular_syspath);
    return zolv_mm_client_modem_is_ready(self->cellular_syspath.get(), error);
}

/* What of the wait is over after a question that was answered with no; the stop of the daemon ends
 * it. A ModemManager that does not answer at all took 25 s for that, in which the watchdog was not
 * kicked and five further questions could have been put. */
static bool
wait_after_question(ZolvCellular *self, bool unanswered, guint *asked)
{
    const guint asked_before = *asked;

    *asked += unanswered ? 1 + unanswered_s / question_interval_s : 1;
    if (!zolv::pause(std::chrono::seconds(question_interval_s)))
        return false;
    if (unanswered || (asked_before != 0 && asked_before % questions_per_kick == 0))
        kick_watchdog(ZOLV_OBJ(self));
    return true;
}

static gboolean
cellular_wait_modem_ready(ZolvCellular *self, guint timeout_s)
{
    const char *path = self->priv->cellular_syspath.get();
    const guint questions = timeout_s / question_interval_s + 1;

    if (path == nullptr) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN,
                     "Failed to check modem ready: the module has not been found");
        return FALSE;
    }
    for (guint asked = 0; asked < questions;) {
        g_autoptr(GError) error = nullptr;

        if (zolv_mm_client_modem_is_ready(path, &error)) {
            ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Modem is ready");
            return TRUE;
        }
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Failed to check modem ready: %s",
                     zolv::fit_text(error->message).c_str());
        ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Wait for modem ready, %d seconds left",
                       static_cast<int>(timeout_s) - static_cast<int>(asked * question_interval_s));
        if (!wait_after_question(self, is_unanswered(error), &asked))
            break;
    }
    return FALSE;
}

static gboolean
cellular_wait_alive_pin(ZolvCellular *self, gint pin, guint level, guint timeout_s, GError **error)
{
    return zolv::wait_alive_pin(ZOLV_OBJ(self), pin, level, timeout_s, "cellular", error);
}

static gboolean
cellular_set_power(ZolvCellular *, gboolean, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
cellular_get_power(ZolvCellular *, gboolean *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
cellular_shutdown(ZolvCellular *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

ZOLV_DEFINE_ABSTRACT_CLASS(ZolvCellular, zolv_cellular, ZOLV_TYPE_OBJ)
{
    klass->device_add = cellular_device_add;
    klass->check_matched = cellular_check_matched;
    klass->support_at_shutdown = cellular_support_at_shutdown;
    klass->exec_at_cmd = cellular_exec_at_cmd;
    klass->mm_cli_connected = cellular_mm_cli_connected;
    klass->wait_modem_ready = cellular_wait_modem_ready;
    klass->wait_alive_pin = cellular_wait_alive_pin;
    klass->set_power = cellular_set_power;
    klass->get_power = cellular_get_power;
    klass->shutdown = cellular_shutdown;
}

void
zolv_cellular_bind_socket(ZolvCellular *self, ZolvSocket *socket)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));
    ZOLV_ASSERT(socket != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(socket));
    ZolvGdbusObjCellular *skeleton = self->priv->skeleton.get();

    zolv_gdbus_obj_cellular_set_socket(skeleton, zolv_obj_get_name(ZOLV_OBJ(socket)));
    zolv_gdbus_obj_cellular_set_number_of_sim_slots(skeleton,
                                                    zolv_socket_get_number_of_sim_slots(socket));
    self->priv->calls.bind(socket);
}

void
zolv_cellular_set_device_detected(ZolvCellular *self, gboolean detected)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));
    zolv_gdbus_obj_cellular_set_device_detected(self->priv->skeleton.get(), detected);
}

gboolean
zolv_cellular_device_add(ZolvCellular *self, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));
    ZolvCellularClass *klass = ZOLV_CELLULAR_GET_CLASS(self);

    if (is_at(ZOLV_OBJ(self), device)) {
        if (klass->check_matched(self, device))
            zolv_cellular_set_device_detected(self, TRUE);
        else
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Detected a unexpected device");
    }
    return klass->device_add(self, device);
}

void
zolv_cellular_device_remove(ZolvCellular *self, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));

    if (is_at(ZOLV_OBJ(self), device))
        zolv_cellular_set_device_detected(self, FALSE);
}

gboolean
zolv_cellular_set_power(ZolvCellular *self, gboolean on, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));
    return ZOLV_CELLULAR_GET_CLASS(self)->set_power(self, on, error);
}

gboolean
zolv_ceullar_get_power(ZolvCellular *self, gboolean *on, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_CELLULAR(self));
    return ZOLV_CELLULAR_GET_CLASS(self)->get_power(self, on, error);
}

void
zolv_cellular_define_name(ZolvCellular *self, const char *name)
{
    zolv_gdbus_obj_cellular_set_name(self->priv->skeleton.get(), zolv::fit_text(name).c_str());
}

void
zolv_cellular_define_device_name(ZolvCellular *self, const char *name)
{
    zolv_gdbus_obj_cellular_set_device_name(self->priv->skeleton.get(),
                                            zolv::fit_text(name).c_str());
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_cellular_define_device_path(ZolvCellular *self, const char *path)
{
    self->priv->cellular_syspath.reset(g_strdup(path));
}

void
zolv_cellular_define_atport(ZolvCellular *self, const char *port)
{
    zolv_gdbus_obj_cellular_set_atport(self->priv->skeleton.get(), zolv::fit_text(port).c_str());
}

void
zolv_cellular_define_qmiport(ZolvCellular *self, const char *port)
{
    zolv_gdbus_obj_cellular_set_qmiport(self->priv->skeleton.get(), zolv::fit_text(port).c_str());
}

void
zolv_cellular_define_gpsport(ZolvCellular *self, const char *port)
{
    zolv_gdbus_obj_cellular_set_gpsport(self->priv->skeleton.get(), zolv::fit_text(port).c_str());
}
