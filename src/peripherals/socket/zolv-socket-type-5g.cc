#include "peripherals/socket/zolv-socket-type-5g.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "peripherals/cellular/zolv-cellular-quectel-rm520n.h"
#include "peripherals/cellular/zolv-cellular-telit-fn990.h"
#include "peripherals/socket/zolv-socket-internal.h"

namespace {

struct Pins {
    int pin0 = -1;
    int pin1 = -1;
    int pin2 = -1;
    int pin3 = -1;
    int pin4 = -1;
};

/* The modules that are known, by the number that the lines of the slot make. */
struct Module {
    int number;
    const char *name;
    GType (*type)();
    void (*define)(ZolvObj *module, const Pins &pins);
};

constexpr Module modules[] = {
    {12, "Telit/FN990", zolv_cellular_telit_fn990_get_type,
     [](ZolvObj *module, const Pins &pins) {
         zolv_cellular_telit_fn990_define_pin(ZOLV_CELLULAR_TELIT_FN990(module), pins.pin0,
                                              pins.pin1, pins.pin2, pins.pin3, pins.pin4);
     }},
    {13, "Quectel/RM520N", zolv_cellular_quectel_rm520n_get_type,
     [](ZolvObj *module, const Pins &pins) {
         zolv_cellular_quectel_rm520n_define_pin(ZOLV_CELLULAR_QUECTEL_RM520N(module), pins.pin0,
                                                 pins.pin1, pins.pin2, pins.pin3, pins.pin4);
     }},
};

const Module *
find_module(int number)
{
    for (const Module &module : modules)
        if (module.number == number)
            return &module;
    return nullptr;
}

} // namespace

struct _ZolvSocketType5GPrivate {
    const Module *module = nullptr;
    Pins pins;
    zolv::Worker starter;
};

/* A model that does not say how its power is switched inherits the answer that it cannot be asked.
 */
static bool
check_module(ZolvCellular *module, ZolvCoreError absent, GError **error)
{
    if (module == nullptr)
        return zolv::fail(error, absent, "Cellular is not bound");
    auto *base = static_cast<ZolvCellularClass *>(g_type_class_peek(ZOLV_TYPE_CELLULAR));
    return ZOLV_CELLULAR_GET_CLASS(module)->set_power != base->set_power ||
           zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "Operation not supported");
}

static gboolean
socket_type_5g_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    ZolvCellular *module = zolv::cellular_in(socket);

    return check_module(module, ZOLV_CORE_ERROR_NOT_PERMIT, error) &&
           ZOLV_CELLULAR_GET_CLASS(module)->set_power(module, on, error);
}

static gboolean
socket_type_5g_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    ZolvCellular *module = zolv::cellular_in(socket);

    return check_module(module, ZOLV_CORE_ERROR_PERIPH_NOT_FOUND, error) &&
           ZOLV_CELLULAR_GET_CLASS(module)->get_power(module, on, error);
}

static gboolean
socket_type_5g_shutdown(ZolvSocket *socket, GError **error)
{
    ZolvCellular *module = zolv::cellular_in(socket);

    return module == nullptr || (check_module(module, ZOLV_CORE_ERROR_NOT_PERMIT, error) &&
                                 ZOLV_CELLULAR_GET_CLASS(module)->shutdown(module, error));
}

ZOLV_DEFINE_CLASS(ZolvSocketType5G, zolv_socket_type_5g, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type_5g_set_power;
    socket_class->get_power = socket_type_5g_get_power;
    socket_class->set_sim_slot = zolv::refuse_set_sim_slot;
    socket_class->get_sim_slot = zolv::refuse_get_sim_slot;
    socket_class->shutdown = socket_type_5g_shutdown;
}

/* A slot that cannot tell its module may not be powered: the lines of one mean other things to the
 * other. */
static guint
read_bit(ZolvSocketType5G *self, gint pin)
{
    guint level = 0;

    if (!zolv::GpioLine(pin).read(&level, nullptr)) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR, "Failed to get GPIO value");
        ZOLV_ASSERT_NOT_REACHED();
    }
    return level;
}

gboolean
zolv_socket_type_5g_define_module(ZolvSocketType5G *self, guint count, const gint *pins)
{
    guint number = 0;

    for (guint i = 0; i < count; i++)
        number |= read_bit(self, pins[i]) << i;
    const Module *module = count != 0 ? find_module(static_cast<int>(number)) : nullptr;
    if (module != nullptr)
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_INFO, "PIN Config Module: %s", module->name);
    else
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "No module or unsuppoted module");
    self->priv->module = module;
    return module != nullptr;
}

void
zolv_socket_type_5g_define_pins(ZolvSocketType5G *self, gint pin0, gint pin1, gint pin3, gint pin4,
                                const gint *table)
{
    const Module *module = self->priv->module;
    Pins pins{.pin0 = pin0, .pin1 = pin1, .pin3 = pin3, .pin4 = pin4};

    for (; module != nullptr && table[0] != -1; table += 2) {
        if (table[0] != module->number)
            continue;
        pins.pin2 = table[1];
        break;
    }
    self->priv->pins = pins;
}

void
zolv_socket_type_5g_create_module(ZolvBaseManager *manager, ZolvSocketType5G *self)
{
    const Module *module = self->priv->module;

    ZOLV_ASSERT(module != NULL);
    ZolvObj *object = zolv_base_manager_create_new_object(
        manager, module->type(), zolv::cellular_name_of(ZOLV_SOCKET(self)));
    module->define(object, self->priv->pins);
    zolv::put_cellular_in(ZOLV_SOCKET(self), ZOLV_CELLULAR(object));
}

void
zolv_socket_type_5g_start(ZolvSocketType5G *self)
{
    zolv::start_power_on(self->priv->starter, "zolv_socket_type_5g", ZOLV_SOCKET(self));
}

void
zolv_socket_type_5g_export(ZolvSocketType5G *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_socket_type_5g_unexport(ZolvSocketType5G *self)
{
    zolv_obj_unexport(ZOLV_OBJ(self));
}
