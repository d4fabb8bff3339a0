/*
 * The bench's lean client: sd-bus stays in the calling thread, so that what is measured is the
 * service and the bus. Prints plain numbers; bench/run makes sense of them.
 *
 * call METHOD OBJECT ROUNDS BLOCK NAME...: one line a block: round, place, nanoseconds
 * depth METHOD OBJECT ROUNDS BLOCK NAME...: the same with 16 calls under way; calls a second
 * start NAME OBJECT BLINKING COMMAND...: microseconds to name and ready, processor time to ready,
 *     microseconds from SIGTERM to the end
 * burst COUNT: device events, as udev passes them on
 * plug COUNT NAME NODE: nanoseconds from an adapter's event to its object, one a line
 *
 * METHOD is one of the words of the table below.
 */
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <linux/input.h>
#include <linux/netlink.h>
#include <signal.h>
#include <spawn.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <time.h>
#include <unistd.h>

#define DEPTH 16
#define TIMEOUT_US (60 * 1000000ULL)
#define QUIET_US (10 * 1000000ULL)
#define MANAGER_PATH "/com/tarvel/Perimond"

extern char **environ;

static void
check(int result, const char *what)
{
    if (result >= 0)
        return;
    fprintf(stderr, "client: %s: %s\n", what, strerror(-result));
    exit(1);
}

static uint64_t
now_ns(clockid_t clock)
{
    struct timespec time;

    clock_gettime(clock, &time);
    return (uint64_t)time.tv_sec * 1000000000 + (uint64_t)time.tv_nsec;
}

static sd_bus *
connect_bus(void)
{
    sd_bus *bus = NULL;

    check(sd_bus_open_system(&bus), "bus");
    return bus;
}

#define INTERFACES "com.tarvel.Perimond.Obj."
static const char properties[] = "org.freedesktop.DBus.Properties";
static const char object_manager[] = "org.freedesktop.DBus.ObjectManager";

/* METHOD; what takes a number takes the first and the second in turn. */
static const struct Method {
    const char *word;
    const char *interface;
    const char *member;
    unsigned first;
    unsigned second;
} methods[] = {
    {"get-state", INTERFACES "LED", "GetState", 0, 0},
    {"set-state", INTERFACES "LED", "SetState", 0, 1},
    {"get-property", properties, "Get", 0, 0},
    {"get-managed", object_manager, "GetManagedObjects", 0, 0},
    {"get-interface", INTERFACES "SerialPort", "GetInterface", 0, 0},
    {"set-interface", INTERFACES "SerialPort", "SetInterface", 1, 1},
    {"set-port-terminator", INTERFACES "SerialPort", "SetTerminator", 2, 2},
    {"set-can-terminator", INTERFACES "CAN", "SetTerminator", 2, 2},
};

static sd_bus_message *
new_call(sd_bus *bus, const char *method, const char *name, const char *object, unsigned serial)
{
    sd_bus_message *call = NULL;
    const struct Method *found = methods;

    while (strcmp(found->word, method) != 0)
        if (++found == methods + sizeof methods / sizeof *methods)
            check(-EINVAL, method);
    check(sd_bus_message_new_method_call(bus, &call, name,
                                         found->interface == object_manager ? MANAGER_PATH : object,
                                         found->interface, found->member),
          "message");
    if (found->interface == properties)
        check(sd_bus_message_append(call, "ss", INTERFACES "LED", "Alias"), "append");
    else if (found->first != found->second || found->first != 0)
        check(sd_bus_message_append(call, "u", serial % 2 == 0 ? found->first : found->second),
              "append");
    return call;
}

static void
measure_calls(char **argv)
{
    sd_bus *bus = connect_bus();
    const int rounds = atoi(argv[2]);
    const int block = atoi(argv[3]);

    for (int round = 0; round < rounds; round++)
        for (int place = 0; argv[4 + place] != NULL; place++) {
            printf("%d %d", round, place);
            for (int i = 0; i < block; i++) {
                sd_bus_message *reply = NULL;
                sd_bus_message *call = new_call(bus, argv[0], argv[4 + place], argv[1], i);
                const uint64_t start = now_ns(CLOCK_MONOTONIC);

                check(sd_bus_call(bus, call, TIMEOUT_US, NULL, &reply), argv[4 + place]);
                printf(" %" PRIu64, now_ns(CLOCK_MONOTONIC) - start);
                sd_bus_message_unref(reply);
                sd_bus_message_unref(call);
            }
            printf("\n");
        }
    sd_bus_unref(bus);
}

static int
count_reply(sd_bus_message *reply, void *data, sd_bus_error *error)
{
    (void)error;
    check(sd_bus_message_is_method_error(reply, NULL) ? -EIO : 0, "answer");
    ++*(int *)data;
    return 0;
}

static void
measure_depth(char **argv)
{
    sd_bus *bus = connect_bus();
    const int rounds = atoi(argv[2]);
    const int block = atoi(argv[3]);

    for (int round = 0; round < rounds; round++)
        for (int place = 0; argv[4 + place] != NULL; place++) {
            const uint64_t start = now_ns(CLOCK_MONOTONIC);
            int sent = 0;
            int answered = 0;

            while (answered < block) {
                while (sent < block && sent - answered < DEPTH) {
                    sd_bus_message *call = new_call(bus, argv[0], argv[4 + place], argv[1], sent++);

                    check(sd_bus_call_async(bus, NULL, call, count_reply, &answered, TIMEOUT_US),
                          "call");
                    sd_bus_message_unref(call);
                }
                const int work = sd_bus_process(bus, NULL);
                check(work, "process");
                if (work == 0)
                    check(sd_bus_wait(bus, TIMEOUT_US), "wait");
            }
            printf("%d %d %.1f\n", round, place,
                   block * 1e9 / (double)(now_ns(CLOCK_MONOTONIC) - start));
        }
    sd_bus_unref(bus);
}

static int
note_time(sd_bus_message *signal, void *data, sd_bus_error *error)
{
    (void)signal;
    (void)error;
    *(uint64_t *)data = now_ns(CLOCK_MONOTONIC);
    return 0;
}

/* The first answer after the objects are there: the main loop is busy until it is ready. */
static void
await_ready(sd_bus *bus, const char *name, const char *object)
{
    for (;;) {
        sd_bus_message *call = new_call(bus, "get-property", name, object, 0);
        const int result = sd_bus_call(bus, call, TIMEOUT_US, NULL, NULL);

        sd_bus_message_unref(call);
        if (result >= 0)
            return;
    }
}

static void
measure_start(char **argv)
{
    sd_bus *bus = connect_bus();
    const int n_blinking = atoi(argv[2]);
    uint64_t named = 0;
    char match[256];
    clockid_t clock;
    pid_t pid = 0;

    snprintf(match, sizeof match,
             "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='%s'",
             argv[0]);
    check(sd_bus_add_match(bus, NULL, match, note_time, &named), "match");

    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

    const uint64_t start = now_ns(CLOCK_MONOTONIC);
    check(-posix_spawn(&pid, argv[3], &streams, NULL, argv + 3, environ), argv[3]);
    while (named == 0) {
        const int work = sd_bus_process(bus, NULL);

        check(work, "process");
        if (work == 0 && named == 0)
            check(sd_bus_wait(bus, TIMEOUT_US), "wait");
    }
    await_ready(bus, argv[0], argv[1]);
    const uint64_t ready = now_ns(CLOCK_MONOTONIC);
    check(-clock_getcpuclockid(pid, &clock), "clock");
    const uint64_t processor = now_ns(clock);

    for (int i = 0; i < n_blinking; i++) {
        char path[64];

        snprintf(path, sizeof path, MANAGER_PATH "/LED/G%03d", i);
        check(sd_bus_call_method(bus, argv[0], path, "com.tarvel.Perimond.Obj.LED", "SetState",
                                 NULL, NULL, "u", 2),
              "blink");
    }
    usleep(20000); /* nothing that the start has left over delays the end */
    const uint64_t told = now_ns(CLOCK_MONOTONIC);
    int status = 0;
    kill(pid, SIGTERM);
    waitpid(pid, &status, 0);
    check(status == 0 ? 0 : -ECHILD, argv[3]);
    printf("%.1f %.1f %.1f %.1f\n", (double)(named - start) / 1e3, (double)(ready - start) / 1e3,
           (double)processor / 1e3, (double)(now_ns(CLOCK_MONOTONIC) - told) / 1e3);
    sd_bus_unref(bus);
}

/* The script, bench-hook, writes its time of start into this. */
#define HOOK_TIMES "/run/bench/hook-times"

static void
select_hook(sd_bus *bus, const char *name, const char *object, const char *script)
{
    static const char interface[] = "com.tarvel.Perimond.Obj.DIO";

    check(sd_bus_call_method(bus, name, object, interface, "AddHook", NULL, NULL, "ss", "bench",
                             script),
          "AddHook");
    check(sd_bus_call_method(bus, name, object, interface, "SetHook", NULL, NULL, "s", "bench"),
          "SetHook");
    check(sd_bus_call_method(bus, name, object, interface, "SetEvent", NULL, NULL, "u", 3),
          "SetEvent");
}

static void
measure_edges(char **argv)
{
    sd_bus *bus = connect_bus();
    const unsigned interval_us = (unsigned)atoi(argv[3]) * 1000;
    uint64_t heard = 0;

    check(mkfifo(HOOK_TIMES, 0600) < 0 ? -errno : 0, HOOK_TIMES);
    const int times = open(HOOK_TIMES, O_RDWR | O_CLOEXEC);
    const int value = open(argv[2], O_WRONLY | O_CLOEXEC);
    check(sd_bus_match_signal(bus, NULL, NULL, argv[1], "com.tarvel.Perimond.Obj.DIO",
                              "StateChanged", note_time, &heard),
          "match");
    select_hook(bus, argv[0], argv[1], argv[5]);
    srandom(1);
    for (int i = 0; i < atoi(argv[4]); i++) {
        uint64_t hooked = 0;

        /* Lines begin high. Any moment between two samples; the pass with the last edge is over. */
        usleep(2 * interval_us + (unsigned)random() % interval_us);
        const uint64_t turned = now_ns(CLOCK_MONOTONIC);
        check(pwrite(value, i % 2 == 0 ? "0" : "1", 1, 0) < 0 ? -errno : 0, argv[2]);
        for (heard = 0; heard == 0;) {
            const int work = sd_bus_process(bus, NULL);

            check(work, "process");
            if (work == 0 && heard == 0)
                check(sd_bus_wait(bus, TIMEOUT_US), "wait");
        }
        check(read(times, &hooked, sizeof hooked) < 0 ? -errno : 0, HOOK_TIMES);
        printf("%.1f %.1f\n", (double)(heard - turned) / 1e3, (double)(hooked - turned) / 1e3);
    }
    unlink(HOOK_TIMES);
    sd_bus_unref(bus);
}

struct Told {
    unsigned presses;
    unsigned releases;
};

static int
note_action(sd_bus_message *signal, void *data, sd_bus_error *error)
{
    struct Told *told = data;
    const char *action = NULL;

    (void)error;
    check(sd_bus_message_read(signal, "s", &action), "actionChanged");
    told->presses += strcmp(action, "press") == 0;
    told->releases += strcmp(action, "release") == 0;
    return 0;
}

static void
press_button(char **argv)
{
    sd_bus *bus = connect_bus();
    const unsigned count = (unsigned)atoi(argv[2]);
    const int device = open(argv[1], O_WRONLY | O_CLOEXEC);
    struct Told told = {0, 0};
    uint64_t last_signal = 0;

    check(device < 0 ? -errno : 0, argv[1]);
    check(sd_bus_match_signal(bus, NULL, NULL, argv[0], "com.tarvel.Perimond.Obj.Button",
                              "actionChanged", note_action, &told),
          "match");
    const uint64_t start = now_ns(CLOCK_MONOTONIC);
    for (unsigned i = 0; i < count; i++) {
        const struct input_event event = {.type = EV_KEY, .code = KEY_POWER, .value = i % 2 == 0};

        check(write(device, &event, sizeof event) < 0 ? -errno : 0, argv[1]);
    }
    while (told.presses + told.releases < count) {
        const int work = sd_bus_process(bus, NULL);

        check(work, "process");
        if (work > 0)
            last_signal = now_ns(CLOCK_MONOTONIC);
        else if (sd_bus_wait(bus, QUIET_US) == 0)
            break; /* nothing more is coming */
    }
    printf("%u %u %.2f\n", told.presses, told.releases, (double)(last_signal - start) / 1e9);
    sd_bus_unref(bus);
}

/* MurmurHash2 with seed 0: the listeners' socket filters compare it. */
static uint32_t
hash_of(const char *text)
{
    const uint32_t factor = 0x5bd1e995;
    size_t length = strlen(text);
    uint32_t hash = (uint32_t)length;

    for (; length >= 4; length -= 4, text += 4) {
        uint32_t word;

        memcpy(&word, text, 4);
        word *= factor;
        word = (word ^ (word >> 24)) * factor;
        hash = (hash * factor) ^ word;
    }
    for (size_t i = length; i > 0; i--)
        hash ^= (uint32_t)(unsigned char)text[i - 1] << (8 * (i - 1));
    if (length > 0)
        hash *= factor;
    hash = (hash ^ (hash >> 13)) * factor;
    return hash ^ (hash >> 15);
}

static void
send_event(int fd, const char *action, const char *device, const char *node, unsigned number)
{
    struct {
        char prefix[8];
        uint32_t magic, header_size, properties_offset, properties_length;
        uint32_t subsystem_hash, devtype_hash, bloom_high, bloom_low;
        char properties[512];
    } event = {.prefix = "libudev",
               .magic = htonl(0xfeedcafe),
               .header_size = offsetof(__typeof__(event), properties),
               .properties_offset = offsetof(__typeof__(event), properties),
               .subsystem_hash = htonl(hash_of("tty"))};
    struct sockaddr_nl listeners = {.nl_family = AF_NETLINK, .nl_groups = 2};
    struct iovec part = {.iov_base = &event};
    struct msghdr message = {
        .msg_name = &listeners, .msg_namelen = sizeof listeners, .msg_iov = &part, .msg_iovlen = 1};

    const int length = snprintf(event.properties, sizeof event.properties,
                                "ACTION=%s%cDEVPATH=/devices/bench/%s%cSUBSYSTEM=tty%cDEVNAME=%s%c"
                                "SEQNUM=%u%cMAJOR=4%cMINOR=64%cUSEC_INITIALIZED=1%c"
                                "ID_MODEL=Serivo_1%cDEVLINKS=/dev/bench-port0%c",
                                action, 0, device, 0, 0, node, 0, number + 1, 0, 0, 0, 0, 0, 0);
    event.properties_length = (uint32_t)length;
    part.iov_len = event.header_size + (size_t)length;
    check(sendmsg(fd, &message, 0) < 0 ? -errno : 0, "event");
}

static void
send_burst(char **argv)
{
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    const unsigned count = (unsigned)atoi(argv[0]);

    check(fd < 0 ? -errno : 0, "socket");
    for (unsigned i = 0; i < count; i++)
        send_event(fd, "change", "tty000", "/dev/tty000", i);
    send_event(fd, "remove", "bench-last", "/dev/bench-last", count);
    close(fd);
}

static void
wait_for_time(sd_bus *bus, uint64_t *heard)
{
    for (*heard = 0; *heard == 0;) {
        const int work = sd_bus_process(bus, NULL);

        check(work, "process");
        if (work == 0 && *heard == 0)
            check(sd_bus_wait(bus, TIMEOUT_US), "wait");
    }
}

static void
plug_adapter(char **argv)
{
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    const unsigned count = (unsigned)atoi(argv[0]);
    sd_bus *bus = connect_bus();
    uint64_t heard = 0;

    check(fd < 0 ? -errno : 0, "socket");
    check(sd_bus_match_signal(bus, NULL, argv[1], MANAGER_PATH, object_manager, NULL, note_time,
                              &heard),
          "match");
    for (unsigned i = 0; i < count; i++) {
        const uint64_t told = now_ns(CLOCK_MONOTONIC);

        send_event(fd, "add", "bench-adapter", argv[2], 2 * i);
        wait_for_time(bus, &heard);
        printf("%" PRIu64 "\n", heard - told);
        send_event(fd, "remove", "bench-adapter", argv[2], 2 * i + 1);
        wait_for_time(bus, &heard);
    }
    sd_bus_unref(bus);
    close(fd);
}

int
main(int argc, char **argv)
{
    static const struct {
        const char *name;
        int n_arguments;
        void (*run)(char **arguments);
    } commands[] = {
        {"call", 5, measure_calls}, {"depth", 5, measure_depth}, {"start", 4, measure_start},
        {"edge", 6, measure_edges}, {"press", 3, press_button},  {"burst", 1, send_burst},
        {"plug", 3, plug_adapter},
    };

    for (size_t i = 0; argc > 1 && i < sizeof commands / sizeof *commands; i++)
        if (strcmp(argv[1], commands[i].name) == 0 && argc - 2 >= commands[i].n_arguments) {
            commands[i].run(argv + 2);
            return 0;
        }
    fprintf(stderr, "client: see the head of client.c\n");
    return 2;
}
