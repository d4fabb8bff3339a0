#include "peripherals/socket/zolv-socket.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/zolv-socket-calls.h"

#include <string>

struct _ZolvSocketPrivate {
    explicit _ZolvSocketPrivate(ZolvSocket *self);

    zolv::ObjectPtr<ZolvGdbusObjSocket> skeleton{zolv_gdbus_obj_socket_skeleton_new()};
    zolv::SocketCalls calls;
    std::string wifi_name;
    std::string cellular_name;
};

static gboolean
socket_set_power(ZolvSocket *, gboolean, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
socket_get_power(ZolvSocket *, gboolean *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
socket_set_sim_slot(ZolvSocket *, guint, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
socket_get_sim_slot(ZolvSocket *, guint *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
socket_recover(ZolvSocket *self, GError **error)
{
    static constexpr char text[] = "Telit is in protected mode, please repair it manually";

    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR, text);
    return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, text);
}

static gboolean
socket_shutdown(ZolvSocket *self, GError **error)
{
    static constexpr char text[] = "Please implement socket shutdown function";

    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR, text);
    return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, text);
}

static gboolean
socket_wait_alive_pin(ZolvSocket *self, gint pin, guint level, guint timeout_s, GError **error)
{
    return zolv::wait_alive_pin(ZOLV_OBJ(self), pin, level, timeout_s, "socket", error);
}

_ZolvSocketPrivate::_ZolvSocketPrivate(ZolvSocket *self) : calls(ZOLV_OBJ(self), skeleton.get())
{
    static const char *const no_devices[] = {nullptr};

    zolv_gdbus_obj_socket_set_devices(skeleton.get(), no_devices);
    zolv_gdbus_object_skeleton_set_obj_socket(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    calls.bind(self);
}

ZOLV_DEFINE_ABSTRACT_CLASS(ZolvSocket, zolv_socket, ZOLV_TYPE_OBJ)
{
    klass->set_power = socket_set_power;
    klass->get_power = socket_get_power;
    klass->set_sim_slot = socket_set_sim_slot;
    klass->get_sim_slot = socket_get_sim_slot;
    klass->recover = socket_recover;
    klass->shutdown = socket_shutdown;
    klass->wait_alive_pin = socket_wait_alive_pin;
}

void
zolv_socket_define_number_of_sim_slots(ZolvSocket *self, guint number)
{
    zolv_gdbus_obj_socket_set_number_of_sim_slots(self->priv->skeleton.get(), number);
}

void
zolv_socket_define_wifi_name(ZolvSocket *self, const char *name)
{
    self->priv->wifi_name = name != nullptr ? name : "";
}

void
zolv_socket_define_cellular_name(ZolvSocket *self, const char *name)
{
    self->priv->cellular_name = name != nullptr ? name : "";
}

gboolean
zolv_socket_set_power(ZolvSocket *self, gboolean on, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));
    return ZOLV_SOCKET_GET_CLASS(self)->set_power(self, on, error);
}

gboolean
zolv_socket_get_power(ZolvSocket *self, gboolean *on, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));
    return ZOLV_SOCKET_GET_CLASS(self)->get_power(self, on, error);
}

static bool
check_sim_slots(ZolvSocket *self, GError **error)
{
    return zolv_socket_get_number_of_sim_slots(self) != 0 ||
           zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT,
                      "This socket does not have any SIM card slot");
}

gboolean
zolv_socket_set_sim_slot(ZolvSocket *self, guint slot, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));
    const guint number = zolv_socket_get_number_of_sim_slots(self);

    if (!check_sim_slots(self, error))
        return FALSE;
    if (number == 1)
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "This socket has only 1 SIM slot");
    if (slot == 0 || slot > number)
        return zolv::failf(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid SIM slot: %d",
                           static_cast<int>(slot));
    return ZOLV_SOCKET_GET_CLASS(self)->set_sim_slot(self, slot, error);
}

gboolean
zolv_socket_get_sim_slot(ZolvSocket *self, guint *slot, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));

    if (!check_sim_slots(self, error))
        return FALSE;
    if (zolv_socket_get_number_of_sim_slots(self) == 1) {
        *slot = 1;
        return TRUE;
    }
    return ZOLV_SOCKET_GET_CLASS(self)->get_sim_slot(self, slot, error);
}

guint
zolv_socket_get_number_of_sim_slots(ZolvSocket *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));
    return zolv_gdbus_obj_socket_get_number_of_sim_slots(self->priv->skeleton.get());
}

std::function<bool(guint, guint, GError **)>
zolv::alive_wait(ZolvSocket *socket, int pin)
{
    return [socket, pin](guint level, guint timeout_s, GError **error) {
        return ZOLV_SOCKET_GET_CLASS(socket)->wait_alive_pin(socket, pin, level, timeout_s,
                                                             error) != FALSE;
    };
}

bool
zolv::refuse_power(GError **error)
{
    return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "Power control is not allowed");
}

bool
zolv::refuse_sim_slot(GError **error)
{
    return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "SIM slot control is not allowed");
}

gboolean
zolv::refuse_set_power(ZolvSocket *, gboolean, GError **error)
{
    return refuse_power(error);
}

gboolean
zolv::refuse_get_power(ZolvSocket *, gboolean *, GError **error)
{
    return refuse_power(error);
}

gboolean
zolv::refuse_set_sim_slot(ZolvSocket *, guint, GError **error)
{
    return refuse_sim_slot(error);
}

gboolean
zolv::refuse_get_sim_slot(ZolvSocket *, guint *, GError **error)
{
    return refuse_sim_slot(error);
}

bool
zolv::SimSelect::set(guint slot, GError **error) const
{
    if (mode == none)
        return fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "Socket does not support SIM select");
    return line.drive((slot == 2) == (mode == high_is_second) ? 1 : 0, error);
}

bool
zolv::SimSelect::get(guint *slot, GError **error) const
{
    guint level = 0;

    if (mode == none)
        return fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "Socket does not support SIM select");
    if (!line.read(&level, error))
        return false;
    *slot = (level == 1) == (mode == high_is_second) ? 2 : 1;
    return true;
}

bool
zolv::read_power(const GpioLine &line, guint on_level, gboolean *on, GError **error)
{
    guint level = 0;

    if (!line.read(&level, error))
        return false;
    *on = level == on_level;
    return true;
}
