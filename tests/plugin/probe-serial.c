/* The probe's commands about serial ports. An id is that of an object, as everywhere. */
#include "probe.h"

#include <stdlib.h>
#include <string.h>

static ZolvSerialPort *
port(const Call *call)
{
    return ZOLV_SERIALPORT(probe_obj(call));
}

static int
pin(const Call *call, guint word)
{
    return atoi(call->words[word]);
}

static const struct {
    const char *word;
    GType (*type)(void);
} types[] = {
    {"base", zolv_serialport_get_type},      {"1", zolv_serialport_type1_get_type},
    {"2", zolv_serialport_type2_get_type},   {"3", zolv_serialport_type3_get_type},
    {"4", zolv_serialport_type4_get_type},   {"5", zolv_serialport_type5_get_type},
    {"8", zolv_serialport_type8_get_type},   {"9", zolv_serialport_type9_get_type},
    {"10", zolv_serialport_type10_get_type}, {"serivo", zolv_serialport_serivo_get_type},
};

/* serial TYPE NAME */
static void
do_serial(const Call *call)
{
    for (gsize i = 0; i < G_N_ELEMENTS(types); i++)
        if (strcmp(types[i].word, call->words[1]) == 0)
            zolv_base_manager_create_new_object(call->manager, types[i].type(), call->words[2]);
}

static const struct {
    const char *word;
    void (*define)(ZolvSerialPort *self, guint count, const guint *values);
} lists[] = {
    {"interfaces", zolv_serialport_define_supported_interfaces},
    {"baudrates", zolv_serialport_define_supported_baudrates},
    {"data-bits", zolv_serialport_define_supported_data_bits},
    {"stop-bits", zolv_serialport_define_supported_stop_bits},
    {"parities", zolv_serialport_define_supported_parities},
    {"flow-controls", zolv_serialport_define_supported_flow_controls},
};

/* serial-list ID LIST [VALUE]... */
static void
do_list(const Call *call)
{
    guint values[16] = {0};
    guint count = 0;

    while (count < G_N_ELEMENTS(values) && call->words[3 + count] != NULL) {
        values[count] = probe_number(call, 3 + count);
        count++;
    }
    for (gsize i = 0; i < G_N_ELEMENTS(lists); i++)
        if (strcmp(lists[i].word, call->words[2]) == 0)
            lists[i].define(port(call), count, count > 0 ? values : NULL);
}

/* serial-device ID ORIGINAL DEVICE */
static void
do_device(const Call *call)
{
    zolv_serialport_define_device(port(call), probe_optional(call, 2), probe_optional(call, 3));
    INFO("device %s of %s", zolv_serialport_get_device(port(call)),
         zolv_serialport_get_original_device(port(call)));
}

/* serial-pins ID P0 [P1 P2 [P3]] */
static void
do_pins(const Call *call)
{
    ZolvObj *obj = probe_obj(call);

    if (ZOLV_IS_SERIALPORT_TYPE2(obj))
        zolv_serialport_type2_define_gpio_pins(ZOLV_SERIALPORT_TYPE2(obj), pin(call, 2),
                                               pin(call, 3), pin(call, 4), pin(call, 5));
    else if (ZOLV_IS_SERIALPORT_TYPE3(obj))
        zolv_serialport_type3_define_gpio_pins(ZOLV_SERIALPORT_TYPE3(obj), pin(call, 2),
                                               pin(call, 3), pin(call, 4), pin(call, 5));
    else if (ZOLV_IS_SERIALPORT_TYPE4(obj))
        zolv_serialport_type4_define_gpio_pins(ZOLV_SERIALPORT_TYPE4(obj), pin(call, 2),
                                               pin(call, 3), pin(call, 4));
    else if (ZOLV_IS_SERIALPORT_TYPE5(obj))
        zolv_serialport_type5_define_gpio_pins(ZOLV_SERIALPORT_TYPE5(obj), pin(call, 2),
                                               pin(call, 3), pin(call, 4));
    else
        zolv_serialport_type10_define_gpio_pins(ZOLV_SERIALPORT_TYPE10(obj), pin(call, 2));
}

/* serial-register ID PATH|- */
static void
do_register(const Call *call)
{
    zolv_serialport_type4_define_rs485_en_reg_path(ZOLV_SERIALPORT_TYPE4(probe_obj(call)),
                                                   probe_optional(call, 2));
}

/* serial-resistors ID [STATE]: without a state those that software switches */
static void
do_resistors(const Call *call)
{
    if (probe_optional(call, 2) != NULL)
        zolv_serialport_define_pull_up_down(port(call), probe_number(call, 2));
    else
        zolv_serialport_type9_define_pull_up_down(ZOLV_SERIALPORT_TYPE9(probe_obj(call)));
    INFO("resistors %u", zolv_serialport_get_pull_up_down(port(call)));
}

/* serial-terminator ID [STATE] */
static void
do_terminator(const Call *call)
{
    if (probe_optional(call, 2) != NULL)
        zolv_serialport_define_terminator(port(call), probe_number(call, 2));
    else
        zolv_serialport_type9_define_terminator(ZOLV_SERIALPORT_TYPE9(probe_obj(call)));
    INFO("terminator %u", zolv_serialport_get_terminator(port(call)));
}

/* serial-bootenv ID VARIABLE|- */
static void
do_bootenv(const Call *call)
{
    zolv_serialport_bind_bootenv(port(call), probe_optional(call, 2));
}

static guint
given(ZolvSerialPort *self, gpointer state)
{
    (void)self;
    return GPOINTER_TO_UINT(state);
}

/* serial-state ID bootenv|directly|NUMBER */
static void
do_state(const Call *call)
{
    const char *word = call->words[2];

    zolv_serialport_init_iostate(port(call),
                                 strcmp(word, "bootenv") == 0    ? zolv_serialport_enable_by_bootenv
                                 : strcmp(word, "directly") == 0 ? zolv_serialport_enable_directly
                                                                 : given,
                                 GUINT_TO_POINTER(probe_number(call, 2)));
    INFO("%s", zolv_serialport_is_available(port(call)) ? "available" : "not available");
}

static void
do_export(const Call *call)
{
    zolv_serialport_export(port(call));
}

static void
do_unexport(const Call *call)
{
    zolv_serialport_unexport(port(call));
}

/* serial-set ID MODE */
static void
do_set(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_serialport_set_interface(port(call), probe_number(call, 2), &error);

    probe_result(call, done, error);
}

/* serial-slot ID MODE: the class's operation, past the checks of its caller */
static void
do_slot(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_SERIALPORT_GET_CLASS(port(call))
                        ->set_interface(port(call), probe_number(call, 2), &error);

    probe_result(call, done, error);
}

static void
do_get(const Call *call)
{
    GError *error = NULL;
    guint mode = 77;
    gboolean done = zolv_serialport_get_interface(port(call), &mode, &error);

    INFO("mode %u", mode);
    probe_result(call, done, error);
}

static void
do_init(const Call *call)
{
    zolv_serialport_check_ready_and_init(port(call));
}

/* serial-base ID check|set|get: what the base class has for it */
static void
do_base(const Call *call)
{
    ZolvSerialPortClass *base =
        ZOLV_SERIALPORT_CLASS(g_type_class_peek_static(zolv_serialport_get_type()));
    guint mode = 0;

    if (base == NULL)
        base = ZOLV_SERIALPORT_CLASS(g_type_class_ref(zolv_serialport_get_type()));
    if (strcmp(call->words[2], "check") == 0)
        base->check_ready(port(call));
    else if (strcmp(call->words[2], "set") == 0)
        base->set_interface(port(call), 0, NULL);
    else
        base->get_interface(port(call), &mode, NULL);
}

/* serivo PLACE|-: for the device of the event, an adapter's port */
static void
do_serivo(const Call *call)
{
    if (g_strcmp0(g_udev_device_get_action(call->device), "remove") == 0)
        zolv_serialport_serivo_remove_serivo(call->manager, call->device, probe_optional(call, 1));
    else
        zolv_serialport_serivo_create_serivo(call->manager, call->device, probe_optional(call, 1));
}

/* serivo-remove PLACE|-: whatever the event is */
static void
do_serivo_remove(const Call *call)
{
    zolv_serialport_serivo_remove_serivo(call->manager, call->device, probe_optional(call, 1));
}

const Command serial_commands[] = {
    {"serial", do_serial},
    {"serial-list", do_list},
    {"serial-device", do_device},
    {"serial-pins", do_pins},
    {"serial-register", do_register},
    {"serial-resistors", do_resistors},
    {"serial-terminator", do_terminator},
    {"serial-bootenv", do_bootenv},
    {"serial-state", do_state},
    {"serial-export", do_export},
    {"serial-unexport", do_unexport},
    {"serial-set", do_set},
    {"serial-slot", do_slot},
    {"serial-get", do_get},
    {"serial-init", do_init},
    {"serial-base", do_base},
    {"serivo", do_serivo},
    {"serivo-remove", do_serivo_remove},
    {NULL, NULL},
};
