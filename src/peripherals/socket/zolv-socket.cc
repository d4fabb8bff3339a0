#include "peripherals/socket/zolv-socket.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/cellular/zolv-cellular-telit-prot.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/socket/zolv-socket-modules.h"
#include "peripherals/socket/zolv-socket-sequences.h"
#include "peripherals/wifi/zolv-wifi.h"
#include "peripherals/zolv-socket-calls.h"

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

struct _ZolvSocketPrivate {
    explicit _ZolvSocketPrivate(ZolvSocket *self);

    zolv::ObjectPtr<ZolvGdbusObjSocket> skeleton{zolv_gdbus_obj_socket_skeleton_new()};
    zolv::SocketCalls calls;
    std::string wifi_name;
    std::string cellular_name;
    std::map<std::string, ZolvObj *> devices; /* by their paths in sysfs; nothing is taken out */
    /* All modules that were ever here: whoever looked at one in a thread may still be doing so. */
    std::vector<zolv::ObjectPtr<ZolvObj>> kept;
    std::atomic<ZolvCellular *> cellular = nullptr;
    std::atomic<bool> has_wifi = false;
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

static void
keep(ZolvSocket *self, ZolvObj *module)
{
    for (const auto &kept : self->priv->kept)
        if (kept.get() == module)
            return;
    self->priv->kept.emplace_back(static_cast<ZolvObj *>(g_object_ref(module)));
}

/* What a module of either kind is told of the devices below it. */
static bool
hand_to(ZolvObj *module, GUdevDevice *device)
{
    if (ZOLV_IS_WIFI(module))
        zolv_wifi_device_add(ZOLV_WIFI(module), device);
    else if (ZOLV_IS_CELLULAR(module))
        zolv_cellular_device_add(ZOLV_CELLULAR(module), device);
    else
        ZOLV_ASSERT_NOT_REACHED();
    return true;
}

static bool
route(ZolvSocket *self, GUdevDevice *device)
{
    const char *path = g_udev_device_get_sysfs_path(device);

    for (const auto &[module_path, module] : self->priv->devices)
        if (zolv::path_is_below(path, module_path))
            return hand_to(module, device);
    return false;
}

static void
publish_devices(ZolvSocket *self)
{
    std::set<std::string> ids;
    std::vector<const char *> texts;

    for (const auto &[path, module] : self->priv->devices)
        ids.insert(zolv_obj_get_id(module));
    texts.reserve(ids.size() + 1);
    for (const std::string &id : ids)
        texts.push_back(id.c_str());
    texts.push_back(nullptr);
    zolv_gdbus_obj_socket_set_devices(self->priv->skeleton.get(), texts.data());
}

static void
bind_cellular(ZolvSocket *self, ZolvCellular *module, const char *name, const char *path)
{
    zolv_cellular_bind_socket(module, self);
    zolv_cellular_define_name(module, name);
    zolv_cellular_define_device_path(module, path);
    zolv::put_cellular_in(self, module);
}

static void
bind_wifi(ZolvSocket *self, ZolvWiFi *module, const char *name)
{
    zolv_wifi_bind_socket(module, self);
    zolv_wifi_define_name(module, name);
    self->priv->has_wifi.store(true, std::memory_order_release);
}

/* Which object a module is to be: there is none where the plugin has not given it a name. */
static const std::string &
object_name_of(ZolvSocket *self, zolv::ModuleKind kind)
{
    return kind == zolv::ModuleKind::wifi ? self->priv->wifi_name : self->priv->cellular_name;
}

static void
create_module(ZolvSocket *self, ZolvBaseManager *manager, const zolv::ModuleRow &row,
              const std::string &name, const char *path)
{
    const std::string &object_name = object_name_of(self, row.kind);

    ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Matched device: %s", name.c_str());
    if (object_name.empty()) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "No object name for device: %s", name.c_str());
        return;
    }
    ZolvObj *module = zolv_base_manager_create_new_object(manager, row.type(), object_name.c_str());
    keep(self, module);
    self->priv->devices[path] = module;
    publish_devices(self);
    zolv_obj_define_sysfs_path(module, path);
    if (row.kind == zolv::ModuleKind::wifi)
        bind_wifi(self, ZOLV_WIFI(module), name.c_str());
    else
        bind_cellular(self, ZOLV_CELLULAR(module), name.c_str(), path);
}

/* It is on no bus and in no registry; the one object of the process serves all sockets. */
static void
leave_protection_mode(ZolvSocket *self)
{
    static ZolvCellularTelitPROT *const module = ZOLV_CELLULAR_TELIT_PROT(
        g_object_new(ZOLV_TYPE_CELLULAR_TELIT_PROT, "zolv-obj-peripheral-type", "Cellular",
                     "zolv-obj-name", "CellularProt", nullptr));

    ZOLV_CELLULAR_TELIT_PROT_GET_CLASS(module)->recover(module, self);
}

static void
recognise(ZolvSocket *self, ZolvBaseManager *manager, GUdevDevice *device)
{
    const char *path = g_udev_device_get_sysfs_path(device);
    zolv::ModuleDevice read;

    if (!zolv::read_module_device(device, read)) {
        ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Skip create device for: %s", zolv::fit_text(path).c_str());
        return;
    }
    ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Matching for %s device: %s", read.bus_name(),
                   read.identifiers().c_str());
    const zolv::ModuleRow *row = zolv::find_module_row(read);
    if (row == nullptr)
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Detected unknown %s device: %s",
                     read.bus_name(), read.identifiers().c_str());
    else if (row->kind == zolv::ModuleKind::protection)
        leave_protection_mode(self);
    else if (row->kind != zolv::ModuleKind::ignored)
        create_module(self, manager, *row, zolv::module_name(*row, read), path);
}

gboolean
zolv_socket_device_add(ZolvSocket *self, ZolvBaseManager *manager, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));

    if (route(self, device))
        return TRUE;
    recognise(self, manager, device);
    return route(self, device);
}

void
zolv_socket_device_remove(ZolvSocket *self, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(self));
    const char *path = g_udev_device_get_sysfs_path(device);

    for (const auto &[module_path, module] : self->priv->devices) {
        if (!zolv::path_is_below(path, module_path))
            continue;
        if (ZOLV_IS_WIFI(module))
            zolv_wifi_device_remove(ZOLV_WIFI(module), device);
        else
            zolv_cellular_device_remove(ZOLV_CELLULAR(module), device);
    }
}

zolv::PowerHardware
zolv::socket_hardware(ZolvSocket *socket, const PowerLines &lines, int alive_pin)
{
    return {
        .owner = ZOLV_OBJ(socket),
        .lines = lines,
        .alive_wired = alive_pin > 0,
        .wait_alive =
            [socket, alive_pin](guint level, guint timeout_s, GError **error) {
                return ZOLV_SOCKET_GET_CLASS(socket)->wait_alive_pin(socket, alive_pin, level,
                                                                     timeout_s, error) != FALSE;
            },
        .has_modem =
            [socket] {
                ZolvCellular *modem = cellular_in(socket);
                return modem != nullptr &&
                       ZOLV_CELLULAR_GET_CLASS(modem)->support_at_shutdown(modem);
            },
        .modem_ready =
            [socket](guint timeout_s) {
                ZolvCellular *modem = cellular_in(socket);
                return ZOLV_CELLULAR_GET_CLASS(modem)->wait_modem_ready(modem, timeout_s) != FALSE;
            },
        .exec_at_cmd =
            [socket](const char *command, guint timeout_s, GError **error) {
                ZolvCellular *modem = cellular_in(socket);
                return ZOLV_CELLULAR_GET_CLASS(modem)->exec_at_cmd(modem, command, timeout_s,
                                                                   error) != FALSE;
            },
    };
}

bool
zolv::switch_power(bool on, const GpioLine &state, const PowerSequences &sequences,
                   const PowerHardware &hardware, GError **error)
{
    gboolean is_on = FALSE;

    if (!read_power(state, 1, &is_on, error))
        return false;
    return (is_on != FALSE) == on || run_steps(on ? sequences.on : sequences.off, hardware, error);
}

bool
zolv::fast_shutdown(const GpioLine &state, const PowerHardware &hardware, GError **error)
{
    gboolean is_on = FALSE;

    if (!read_power(state, 1, &is_on, error)) {
        zolv_obj_log(hardware.owner, TVL_LOG_ERROR, "Failed to get Power Pin");
        return false;
    }
    if (is_on)
        return run_steps(fast_end, hardware, error);
    ZOLV_OBJ_DEBUG(hardware.owner, "Do nothing, power is off");
    return true;
}

ZolvCellular *
zolv::cellular_in(ZolvSocket *socket)
{
    return socket->priv->cellular.load(std::memory_order_acquire);
}

bool
zolv::has_wifi(ZolvSocket *socket)
{
    return socket->priv->has_wifi.load(std::memory_order_acquire);
}

void
zolv::put_cellular_in(ZolvSocket *socket, ZolvCellular *cellular)
{
    keep(socket, ZOLV_OBJ(cellular));
    socket->priv->cellular.store(cellular, std::memory_order_release);
}

const char *
zolv::cellular_name_of(ZolvSocket *socket)
{
    return socket->priv->cellular_name.c_str();
}

void
zolv::start_power_on(Worker &starter, const char *name, ZolvSocket *socket)
{
    starter.start(name, [socket](Worker &) {
        g_autoptr(GError) error = nullptr;

        if (!zolv_socket_set_power(socket, TRUE, &error))
            zolv_obj_log(ZOLV_OBJ(socket), TVL_LOG_ERROR, "Failed to power on: %s",
                         fit_text(error->message).c_str());
    });
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
