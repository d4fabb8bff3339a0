/*
 * A model plugin that does what a test tells it: the commands in the environment variable
 * PROBE_INIT at the start, those in PROBE_SHUTDOWN at the end, and those in the property COMMAND of
 * every device event. Commands are separated by semicolons, their words by blanks; words take C
 * escapes. What they find out is logged with the tag [Probe].
 */
#include "probe.h"

#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static ZolvObj *
obj(const Call *call)
{
    return zolv_base_manager_get_object(call->manager, call->words[1]);
}

static ZolvLED *
led(const Call *call)
{
    return ZOLV_LED(obj(call));
}

static guint
number(const Call *call, guint word)
{
    return (guint)strtoul(call->words[word], NULL, 0);
}

/* NULL for a word that is not there or is "-". */
static const char *
optional(const Call *call, guint word)
{
    if (word >= g_strv_length(call->words) || strcmp(call->words[word], "-") == 0)
        return NULL;
    return call->words[word];
}

static void
log_result(const Call *call, gboolean done, GError *error)
{
    if (done)
        INFO("%s %s: OK", call->words[0], call->words[1]);
    else
        INFO("%s %s: %s %d %s", call->words[0], call->words[1], g_quark_to_string(error->domain),
             error->code, error->message);
    g_clear_error(&error);
}

/* led NAME LABEL */
static void
do_led(const Call *call)
{
    zolv_led_define_label(
        ZOLV_LED(zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_LED, call->words[1])),
        call->words[2]);
}

/* gpio NAME PIN ACTIVE_LOW */
static void
do_gpio(const Call *call)
{
    zolv_led_gpio_define_gpio(ZOLV_LED_GPIO(zolv_base_manager_create_new_object(
                                  call->manager, ZOLV_TYPE_LED_GPIO, call->words[1])),
                              atoi(call->words[2]), (gboolean)number(call, 3));
}

static const struct {
    const char *word;
    GType (*type)(void);
} types[] = {
    {"led", zolv_led_get_type},
    {"led-gpio", zolv_led_gpio_get_type},
    {"obj", zolv_obj_get_type},
    {"dio", zolv_dio_get_type},
    {"dio-dualgpio", zolv_dio_dualgpio_get_type},
    {"button", zolv_button_get_type},
    {"buzzer", zolv_buzzer_get_type},
    {"buzzer-gpio", zolv_buzzer_gpio_get_type},
    {"buzzer-pcspkr", zolv_buzzer_pcspkr_get_type},
    {"buzzer-pwm", zolv_buzzer_pwm_get_type},
    {"can", zolv_can_get_type},
    {"console", zolv_console_get_type},
    {"ethernet", zolv_ethernet_get_type},
    {"disk", zolv_disk_get_type},
    {"partition", zolv_partition_get_type},
    {"wifi", zolv_wifi_get_type},
    {"wifi-ti-wl1837", zolv_wifi_ti_wl1837_get_type},
    {"wifi-qca6174", zolv_wifi_qualcomm_atheros_qca6174_get_type},
    {"wifi-qca9377", zolv_wifi_qualcomm_atheros_qca93777_get_type},
    {"wifi-qca2066", zolv_wifi_qualcomm_qca2066_get_type},
    {"wifi-iw612", zolv_wifi_nxp_iw612_get_type},
};

static GType
type_named(const char *word)
{
    for (gsize i = 0; i < G_N_ELEMENTS(types); i++)
        if (strcmp(types[i].word, word) == 0)
            return types[i].type();
    return 0;
}

/* create TYPE NAME: without a definition */
static void
do_create(const Call *call)
{
    ZolvObj *object = zolv_base_manager_create_new_object(call->manager, type_named(call->words[1]),
                                                          call->words[2]);

    INFO("created %s %s", zolv_obj_get_id(object),
         zolv_obj_is_exported(object) ? "exported" : "not exported");
}

/* derive TYPE NAME: an object of a class that is nothing more than derived from TYPE */
static void
do_derive(const Call *call)
{
    GTypeQuery parent;

    g_type_query(type_named(call->words[1]), &parent);
    zolv_base_manager_create_new_object(
        call->manager,
        g_type_register_static_simple(parent.type, "Derived", parent.class_size, NULL,
                                      parent.instance_size, NULL, 0),
        call->words[2]);
}

/* i2c ADAPTER TYPE ADDRESS */
static void
do_i2c(const Call *call)
{
    gboolean bound =
        zolv_helper_bind_sysfs_i2c_device(call->words[1], call->words[2], (gint)number(call, 3));

    INFO("%s is %s", call->words[2], bound ? "bound" : "not bound");
}

/* modprobe MODULE */
static void
do_modprobe(const Call *call)
{
    zolv_helper_modprobe(call->words[1]);
}

/* same NAME: whether a second creation gives the object that is there */
static void
do_same(const Call *call)
{
    ZolvObj *first =
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_LED, call->words[1]);

    INFO("%s",
         first == zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_LED, call->words[1])
             ? "same object"
             : "another object");
}

static void
do_get(const Call *call)
{
    ZolvObj *object = zolv_base_manager_get_object(call->manager, call->words[1]);

    INFO("%s %s '%s' %s", zolv_obj_get_peripheral_type(object), zolv_obj_get_name(object),
         zolv_obj_get_sysfs_path(object) != NULL ? zolv_obj_get_sysfs_path(object) : "",
         zolv_obj_is_exported(object) ? "exported" : "not exported");
}

static void
do_remove(const Call *call)
{
    zolv_base_manager_remove_object(call->manager, call->words[1]);
}

static void
do_export(const Call *call)
{
    zolv_obj_export(obj(call));
}

static void
do_unexport(const Call *call)
{
    zolv_obj_unexport(obj(call));
}

static void
do_path(const Call *call)
{
    zolv_obj_define_sysfs_path(ZOLV_OBJ(led(call)), optional(call, 2));
}

static void
do_alias(const Call *call)
{
    zolv_led_define_alias(led(call), call->words[2]);
}

static void
do_label(const Call *call)
{
    const char *label = zolv_led_get_label(led(call));

    INFO("label %s", label != NULL ? label : "is not set");
}

/* set ID STATE: as the LED services do */
static void
do_set(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_led_set_state(led(call), number(call, 2), &error);

    log_result(call, done, error);
}

/* slot ID STATE: the class's operation, past the check of its caller */
static void
do_slot(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_LED_GET_CLASS(led(call))->set_state(led(call), number(call, 2), &error);

    log_result(call, done, error);
}

static void
do_state(const Call *call)
{
    GError *error = NULL;
    guint state = 0;
    gboolean done = zolv_led_get_state(led(call), &state, &error);

    if (done)
        INFO("%s is %u", call->words[1], state);
    else
        log_result(call, done, error);
}

/* dio-gpio ID PIN DIRECTION */
static void
do_dio_gpio(const Call *call)
{
    zolv_dio_define_gpio(ZOLV_DIO(obj(call)), atoi(call->words[2]), number(call, 3));
}

/* hook ID: of either kind of channel */
static void
do_hook(const Call *call)
{
    if (ZOLV_IS_DIO_DUALGPIO(obj(call)))
        zolv_dio_dualgpio_define_hook(ZOLV_DIO_DUALGPIO(obj(call)));
    else
        zolv_dio_define_hook(ZOLV_DIO(obj(call)));
}

static void
do_event(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_dio_set_event(ZOLV_DIO(obj(call)), number(call, 2), &error);

    log_result(call, done, error);
}

static void
do_button_device(const Call *call)
{
    zolv_button_define_device(ZOLV_BUTTON(obj(call)), call->words[2]);
}

static void
do_stop_service(const Call *call)
{
    INFO("stopped %d", zolv_button_stop_service(ZOLV_BUTTON(obj(call))));
}

static void
do_buzzer_pin(const Call *call)
{
    zolv_buzzer_define_gpio(ZOLV_BUZZER(obj(call)), atoi(call->words[2]));
}

/* buzzer-gpio ID PIN DIRECTION */
static void
do_buzzer_gpio(const Call *call)
{
    zolv_buzzer_gpio_define_gpio(ZOLV_BUZZER_GPIO(obj(call)), atoi(call->words[2]),
                                 number(call, 3));
}

/* buzzer-pwm NAME */
static void
do_buzzer_pwm(const Call *call)
{
    zolv_buzzer_pwm_define(ZOLV_BUZZER_PWM(
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_BUZZER_PWM, call->words[1])));
}

/* buzz ID STATE: there may be an error beside a success */
static void
do_buzz(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_buzzer_set_state(ZOLV_BUZZER(obj(call)), number(call, 2), &error);

    INFO("%s: %s", done ? "OK" : "failed", error != NULL ? error->message : "no error");
    g_clear_error(&error);
}

static struct {
    GDBusObjectManagerServer *server;
    char *path;
} lone;

static void
log_watchers(gpointer data, GObject *object)
{
    GDir *tasks = g_dir_open("/proc/self/task", 0, NULL);

    (void)data;
    (void)object;
    for (const char *task; (task = g_dir_read_name(tasks)) != NULL;) {
        char *path = g_build_filename("/proc/self/task", task, "comm", NULL);
        char *name = NULL;
        if (g_file_get_contents(path, &name, NULL, NULL) && strstr(name, "-watcher") != NULL)
            INFO("running: %s", g_strchomp(name));
        g_free(name);
        g_free(path);
    }
    g_dir_close(tasks);
}

/* lone NAME INPUT OUTPUT: a channel of two lines that the manager does not know */
static void
do_lone(const Call *call)
{
    lone.server = g_dbus_object_manager_server_new("/com/tarvel/Perimond");
    ZolvObj *object = zolv_obj_new(ZOLV_TYPE_DIO_DUALGPIO, lone.server, "DIO", call->words[1]);
    ZolvDIODualGPIO *channel = ZOLV_DIO_DUALGPIO(object);

    zolv_dio_dualgpio_define_gpio(channel, atoi(call->words[2]), atoi(call->words[3]), 0);
    zolv_dio_dualgpio_define_hook(channel);
    lone.path = g_strdup(g_dbus_object_get_object_path(G_DBUS_OBJECT(object)));
    g_object_weak_ref(G_OBJECT(object), log_watchers, NULL);
    g_object_unref(object);
}

/* drop: the lone channel goes without having been withdrawn */
static void
do_drop(const Call *call)
{
    (void)call;
    g_dbus_object_manager_server_unexport(lone.server, lone.path);
    g_object_unref(lone.server);
    g_free(lone.path);
}

static struct {
    ZolvBaseManager *manager;
    void (*withdraw)(ZolvObj *object);
} farewell;

static void
create_and_withdraw(ZolvObj *object)
{
    ZOLV_OBJ_GET_CLASS(object)->unexport_obj = farewell.withdraw;
    zolv_base_manager_create_new_object(farewell.manager, G_OBJECT_TYPE(object),
                                        zolv_obj_get_name(object));
    farewell.withdraw(object);
}

/* farewell ID: the next object of its class that leaves the bus has another of its name created */
static void
do_farewell(const Call *call)
{
    farewell.manager = call->manager;
    farewell.withdraw = ZOLV_OBJ_GET_CLASS(obj(call))->unexport_obj;
    ZOLV_OBJ_GET_CLASS(obj(call))->unexport_obj = create_and_withdraw;
}

/* bootenv ID VARIABLE */
static void
do_bootenv(const Call *call)
{
    zolv_console_bind_bootenv(ZOLV_CONSOLE(obj(call)), optional(call, 2));
}

/* bootstate ID: as the bound variable says */
static void
do_bootstate(const Call *call)
{
    zolv_console_init_iostate(ZOLV_CONSOLE(obj(call)), zolv_console_enable_by_bootenv, NULL);
}

static void
do_available(const Call *call)
{
    INFO("%s", zolv_console_is_available(ZOLV_CONSOLE(obj(call))) ? "available" : "not available");
}

/* A service tells when it is released; @name is a literal. */
static void
released(gpointer name, GObject *service)
{
    (void)service;
    INFO("released %s", (const char *)name);
}

static gpointer
watched(gpointer service, const char *name)
{
    g_object_weak_ref(G_OBJECT(service), released, (gpointer)name);
    return service;
}

/* signal INTERFACE COUNT LED1 LED2 LED3 LED4 STATUS-LED, each name may be - */
static void
do_signal(const Call *call)
{
    zolv_base_manager_add_led_service(
        call->manager, call->words[1],
        watched(zolv_signal_led_service_new(call->words[1], call->manager, atoi(call->words[2]),
                                            optional(call, 7) != NULL, optional(call, 3),
                                            optional(call, 4), optional(call, 5), optional(call, 6),
                                            optional(call, 7)),
                "signal"));
}

/* bare-signal INTERFACE: a service that was never told its LEDs */
static void
do_bare_signal(const Call *call)
{
    zolv_base_manager_add_led_service(
        call->manager, call->words[1],
        ZOLV_SIGNAL_LED_SERVICE(g_object_new(
            ZOLV_TYPE_SIGNAL_LED_SERVICE, "zolv-signal-led-service-interface", call->words[1],
            "zolv-signal-led-service-base-manager", call->manager, NULL)));
}

/* sim INTERFACE COUNT [LED1 [LED2 [LED3]]] */
static void
do_sim(const Call *call)
{
    zolv_base_manager_add_sim_led_service(
        call->manager, call->words[1],
        watched(zolv_sim_led_service_new(call->words[1], call->manager, number(call, 2),
                                         optional(call, 3), optional(call, 4), optional(call, 5)),
                "sim"));
}

/* ptn COUNT [LED KIND]... */
static ZolvPartitionLedService *
new_ptn(const Call *call)
{
    ZolvPartitionLed leds[8] = {{.kind = 0}};

    for (guint i = 0; 2 * i + 3 < g_strv_length(call->words); i++) {
        g_strlcpy(leds[i].name, call->words[2 * i + 2], sizeof leds[i].name);
        leds[i].kind = number(call, 2 * i + 3);
        leds[i].status = 1; /* not the plugin's to say */
    }
    return zolv_partition_led_service_new(call->manager, leds, number(call, 1));
}

static void
do_ptn(const Call *call)
{
    zolv_base_manager_add_ptn_led_service(call->manager, watched(new_ptn(call), "partition"));
}

/* mounted STATUS0,...,STATUS5 COUNT [LED KIND]...: a service of its own, told that */
static void
do_mounted(const Call *call)
{
    Call rest = {call->manager, call->words + 1, NULL};
    ZolvPartitionLedService *service = new_ptn(&rest);
    char **texts = g_strsplit(call->words[1], ",", -1);
    guint status[6] = {0};

    for (guint i = 0; texts[i] != NULL && i < G_N_ELEMENTS(status); i++)
        status[i] = (guint)atoi(texts[i]);
    zolv_partition_led_service_update_led(service, status);
    g_strfreev(texts);
    g_object_unref(service);
}

static void
do_level(const Call *call)
{
    zolv_base_manager_update_signal_level(call->manager, call->words[1], number(call, 2));
}

static void
do_strength(const Call *call)
{
    zolv_base_manager_update_signal_strength(call->manager, call->words[1], number(call, 2));
}

static void
do_conn(const Call *call)
{
    zolv_base_manager_update_conn_state(call->manager, call->words[1], number(call, 2));
}

static void
do_slot_in_use(const Call *call)
{
    zolv_base_manager_update_sim_leds(call->manager, call->words[1], number(call, 2));
}

/* glib DOMAIN LEVEL TEXT: a message as a library writes it */
static void
do_glib(const Call *call)
{
    g_log(call->words[1], (GLogLevelFlags)number(call, 2), "%s", call->words[3]);
}

/* log LEVEL TEXT */
static void
do_log(const Call *call)
{
    _tvl_log(atoi(call->words[1]), "%s", call->words[2]);
}

/* child: one that ends at once and that nobody waits for */
static void
do_child(const Call *call)
{
    pid_t pid = fork();

    (void)call;
    if (pid == 0)
        _exit(0);
    INFO("child %d", (int)pid);
}

/* pause MILLISECONDS: blocks the main loop */
static void
do_pause(const Call *call)
{
    g_usleep(1000UL * number(call, 1));
}

/* await PATH: blocks the main loop until there is such a file */
static void
do_await(const Call *call)
{
    while (access(call->words[1], F_OK) != 0)
        g_usleep(1000);
}

/* iterate MILLISECONDS: handles what arrives on the main loop, from within a callback */
static void
do_iterate(const Call *call)
{
    gint64 end = g_get_monotonic_time() + 1000 * (gint64)number(call, 1);

    while (g_get_monotonic_time() < end)
        if (!g_main_context_iteration(NULL, FALSE))
            g_usleep(1000);
}

/* setting GROUP KEY: reads it */
static void
do_setting(const Call *call)
{
    guint value = 0;

    if (zolv_helper_config_get_guint(call->words[1], call->words[2], &value))
        INFO("setting is %u", value);
    else
        INFO("no setting");
}

/* store GROUP KEY FIRST LAST: sets it to each number, one after the other */
static void
do_store(const Call *call)
{
    for (guint value = number(call, 3); value <= number(call, 4); value++)
        zolv_helper_config_set_guint(call->words[1], call->words[2], value);
}

/* null WHAT: calls a function without what it needs */
static void
do_null(const Call *call)
{
    const char *function = call->words[1];

    if (strcmp(function, "add_led_service") == 0)
        zolv_base_manager_add_led_service(call->manager, NULL, NULL);
    else if (strcmp(function, "add_sim_led_service") == 0)
        zolv_base_manager_add_sim_led_service(call->manager, NULL, NULL);
    else if (strcmp(function, "update_signal_level") == 0)
        zolv_base_manager_update_signal_level(call->manager, NULL, 0);
    else if (strcmp(function, "update_signal_strength") == 0)
        zolv_base_manager_update_signal_strength(call->manager, NULL, 0);
    else if (strcmp(function, "update_conn_state") == 0)
        zolv_base_manager_update_conn_state(call->manager, NULL, 0);
    else if (strcmp(function, "update_sim_leds") == 0)
        zolv_base_manager_update_sim_leds(call->manager, NULL, 0);
    else if (strcmp(function, "add_ptn_led_service") == 0)
        zolv_base_manager_add_ptn_led_service(call->manager, NULL);
    else if (strcmp(function, "signal_led_service_new") == 0)
        zolv_signal_led_service_new(NULL, NULL, 2, FALSE, "", "", "", "", "");
    else if (strcmp(function, "sim_led_service_new") == 0)
        zolv_sim_led_service_new("wwan0", NULL, 0);
    else if (strcmp(function, "partition_led_service_new") == 0)
        zolv_partition_led_service_new(NULL, NULL, 0);
    else if (strcmp(function, "partition_led_service_update_led") == 0)
        zolv_partition_led_service_update_led(NULL, NULL);
    else if (strcmp(function, "led_set_state") == 0)
        zolv_led_set_state(NULL, 0, NULL);
    else if (strcmp(function, "obj_export") == 0)
        zolv_obj_export(NULL);
    else if (strcmp(function, "name") == 0)
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_LED, NULL);
    else if (strcmp(function, "class") == 0)
        zolv_base_manager_create_new_object(call->manager, 0, "A");
    else if (strcmp(function, "signal_service") == 0)
        zolv_base_manager_add_led_service(call->manager, "wwan0", NULL);
    else if (strcmp(function, "sim_service") == 0)
        zolv_base_manager_add_sim_led_service(call->manager, "wwan0", NULL);
    else if (strcmp(function, "manager") == 0)
        zolv_base_manager_get_object(NULL, "LED/ONE");
}

/* Of the file of a kind's own. */
ZolvObj *
probe_obj(const Call *call)
{
    return obj(call);
}

guint
probe_number(const Call *call, guint word)
{
    return number(call, word);
}

const char *
probe_optional(const Call *call, guint word)
{
    return optional(call, word);
}

void
probe_result(const Call *call, gboolean done, GError *error)
{
    log_result(call, done, error);
}

GUdevDevice *
probe_device(const Call *call, guint word)
{
    GUdevClient *client = g_udev_client_new(NULL);
    GUdevDevice *device = NULL;

    if (optional(call, word + 1) != NULL)
        device = g_udev_client_query_by_subsystem_and_name(client, call->words[word],
                                                           call->words[word + 1]);
    g_object_unref(client);
    return device;
}

static const Command commands[] = {
    {"led", do_led},
    {"gpio", do_gpio},
    {"create", do_create},
    {"same", do_same},
    {"get", do_get},
    {"remove", do_remove},
    {"export", do_export},
    {"unexport", do_unexport},
    {"path", do_path},
    {"alias", do_alias},
    {"label", do_label},
    {"set", do_set},
    {"slot", do_slot},
    {"state", do_state},
    {"dio-gpio", do_dio_gpio},
    {"hook", do_hook},
    {"event", do_event},
    {"button-device", do_button_device},
    {"stop-service", do_stop_service},
    {"buzzer-pin", do_buzzer_pin},
    {"bootenv", do_bootenv},
    {"bootstate", do_bootstate},
    {"available", do_available},
    {"signal", do_signal},
    {"sim", do_sim},
    {"ptn", do_ptn},
    {"mounted", do_mounted},
    {"level", do_level},
    {"strength", do_strength},
    {"conn", do_conn},
    {"slot-in-use", do_slot_in_use},
    {"glib", do_glib},
    {"log", do_log},
    {"child", do_child},
    {"null", do_null},
    {"iterate", do_iterate},
    {"setting", do_setting},
    {"store", do_store},
    {"derive", do_derive},
    {"i2c", do_i2c},
    {"modprobe", do_modprobe},
    {"bare-signal", do_bare_signal},
    {"pause", do_pause},
    {"await", do_await},
    {"buzzer-gpio", do_buzzer_gpio},
    {"buzzer-pwm", do_buzzer_pwm},
    {"buzz", do_buzz},
    {"lone", do_lone},
    {"drop", do_drop},
    {"farewell", do_farewell},
    {NULL, NULL},
};

static void
act_on(const Command *list, const Call *call)
{
    for (; list->word != NULL; list++)
        if (strcmp(list->word, call->words[0]) == 0)
            list->act(call);
}

static void
act(ZolvBaseManager *manager, const char *text, GUdevDevice *device)
{
    char **lines = g_strsplit(text != NULL ? text : "", ";", -1);

    for (char **line = lines; *line != NULL; line++) {
        char **words = g_strsplit(g_strstrip(*line), " ", -1);
        for (char **word = words; *word != NULL; word++) {
            char *raw = g_strcompress(*word);
            g_free(*word);
            *word = raw;
        }
        if (words[0] != NULL) {
            const Call call = {manager, words, device};
            act_on(commands, &call);
            act_on(cellular_commands, &call);
            act_on(net_commands, &call);
            act_on(serial_commands, &call);
            act_on(socket_commands, &call);
            act_on(storage_commands, &call);
            act_on(wifi_commands, &call);
        }
        g_strfreev(words);
    }
    g_strfreev(lines);
}

void
platform_init(ZolvBaseManager *manager)
{
    INFO("platform_init");
    act(manager, g_getenv("PROBE_INIT"), NULL);
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    INFO("platform_shutdown");
    act(manager, g_getenv("PROBE_SHUTDOWN"), NULL);
}

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    const char *command = g_udev_device_get_property(device, "COMMAND");
    const char *shown = g_udev_device_get_property(device, "SHOW");

    INFO("%s %s '%s'", action, g_udev_device_get_subsystem(device),
         g_udev_device_get_sysfs_path(device));
    if (shown != NULL)
        INFO("SHOW is %s", shown);
    if (command != NULL)
        act(manager, command, device);
}
