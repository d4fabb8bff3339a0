/* The board's end of the control line.
 *
 * One virtio serial port carries many channels, each a small conversation that the host opens:
 * a command with its output and status, a connection to the system bus as a given user, or a
 * shell on a terminal. Every channel is served by a process of its own behind a socket pair, so
 * that what goes wrong in one ends that one.
 *
 * On the line: little-endian channel number, length, then that many bytes; length 0 closes. */

#define _GNU_SOURCE
#include <endian.h>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pty.h>
#include <pwd.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#define PORT "/dev/virtio-ports/control"
#define BUS "/run/dbus/system_bus_socket"
#define CHUNK 16384
#define MAX_CHANNELS 64

struct frame {
    uint32_t channel;
    uint32_t length;
};

static int
write_all(int fd, const void *data, size_t length)
{
    const char *p = data;

    while (length > 0) {
        ssize_t n = write(fd, p, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return -1;
        p += n;
        length -= n;
    }
    return 0;
}

static int
read_all(int fd, void *data, size_t length)
{
    char *p = data;

    while (length > 0) {
        ssize_t n = read(fd, p, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return -1;
        p += n;
        length -= n;
    }
    return 0;
}

static int
read_line(int fd, char *line, size_t size)
{
    for (size_t i = 0; i < size; i++) {
        if (read_all(fd, line + i, 1) < 0)
            return -1;
        if (line[i] == '\n') {
            line[i] = '\0';
            return 0;
        }
    }
    return -1;
}

/* Copies both ways until one side has ended. */
static void
pump(int a, int b)
{
    char buffer[CHUNK];
    struct pollfd fds[] = {{a, POLLIN, 0}, {b, POLLIN, 0}};

    while (poll(fds, 2, -1) >= 0 || errno == EINTR) {
        for (int i = 0; i < 2; i++) {
            if (!fds[i].revents)
                continue;
            ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n <= 0 || write_all(fds[1 - i].fd, buffer, n) < 0)
                return;
        }
    }
}

static void
become(const char *user)
{
    struct passwd *pw = getpwnam(user);

    if (!pw || initgroups(user, pw->pw_gid) < 0 || setgid(pw->pw_gid) < 0 || setuid(pw->pw_uid) < 0)
        _exit(126);
}

/* Puts the uid of this process in the place of the caller's own, which means nothing here. */
static void
set_identity(char *line, size_t size)
{
    static const char external[] = "AUTH EXTERNAL ";
    char uid[16];
    size_t used = strlen(external);

    if (strncmp(line, external, used) != 0)
        return;
    snprintf(uid, sizeof uid, "%u", getuid());
    for (const char *digit = uid; *digit; digit++)
        used += snprintf(line + used, size - used, "%02x", *digit);
    snprintf(line + used, size - used, "\r");
}

/* A bus connection of @user. Until the caller has authenticated it speaks in lines. */
static void
serve_bus(int fd, const char *user)
{
    struct sockaddr_un address = {AF_UNIX, BUS};
    char buffer[CHUNK], line[512];
    int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct pollfd fds[] = {{fd, POLLIN, 0}, {bus, POLLIN, 0}};

    become(user);
    if (read_all(fd, line, 1) < 0 || connect(bus, (void *)&address, sizeof address) < 0 ||
        write_all(bus, "", 1) < 0)
        return;
    do {
        line[0] = '\0';
        if (poll(fds, 2, -1) < 0)
            return;
        if (fds[1].revents) {
            ssize_t n = read(bus, buffer, sizeof buffer);
            if (n <= 0 || write_all(fd, buffer, n) < 0)
                return;
        }
        if (fds[0].revents) {
            if (read_line(fd, line, sizeof line - 1) < 0)
                return;
            set_identity(line, sizeof line - 1);
            if (write_all(bus, line, strlen(line)) < 0 || write_all(bus, "\n", 1) < 0)
                return;
        }
    } while (strncmp(line, "BEGIN", 5) != 0);
    pump(fd, bus);
}

static void
serve_shell(int fd, unsigned short rows, unsigned short columns)
{
    struct winsize size = {rows, columns, 0, 0};
    int terminal;
    pid_t pid = forkpty(&terminal, NULL, NULL, &size);

    if (pid == 0) {
        signal(SIGPIPE, SIG_DFL);
        setenv("TERM", "xterm", 1);
        setenv("HOME", "/root", 1);
        if (chdir("/root") == 0)
            execl("/bin/bash", "bash", "-l", (char *)NULL);
        _exit(127);
    }
    pump(fd, terminal);
}

static int
send_part(int fd, char kind, const void *data, uint32_t length)
{
    char head[5] = {kind};
    uint32_t le = htole32(length);

    memcpy(head + 1, &le, sizeof le);
    return write_all(fd, head, sizeof head) < 0 ? -1 : write_all(fd, data, length);
}

/* Runs a command; its output goes back as it comes, its status ('x') last. Processes that it
 * leaves behind live on, but are no longer heard. A host that hangs up ends the command. */
static void
serve_run(int fd, unsigned int command_length, unsigned int input_length)
{
    char *command = calloc(1, command_length + 1), *input = malloc(input_length + 1);
    char buffer[CHUNK];
    int out[2], err[2], status = 0, ended = 0;

    if (!command || !input || read_all(fd, command, command_length) < 0 ||
        read_all(fd, input, input_length) < 0 || pipe2(out, O_CLOEXEC) < 0 ||
        pipe2(err, O_CLOEXEC) < 0)
        return;

    pid_t pid = fork();
    if (pid == 0) {
        int in = memfd_create("input", MFD_CLOEXEC);
        setsid();
        signal(SIGPIPE, SIG_DFL);
        if (write_all(in, input, input_length) < 0 || lseek(in, 0, SEEK_SET) < 0)
            _exit(126);
        dup2(in, 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        execl("/bin/sh", "sh", "-c", command, (char *)NULL);
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    fcntl(err[0], F_SETFL, O_NONBLOCK);

    struct pollfd fds[] = {{out[0], POLLIN, 0},
                           {err[0], POLLIN, 0},
                           {(int)syscall(SYS_pidfd_open, pid, 0), POLLIN, 0},
                           {fd, 0, 0}};
    for (;;) {
        int heard = 0;
        if (!ended && poll(fds, 4, -1) < 0 && errno != EINTR)
            return;
        if (fds[3].revents & (POLLHUP | POLLERR)) {
            kill(-pid, SIGKILL);
            return;
        }
        for (int i = 0; i < 2; i++) {
            ssize_t n = fds[i].fd < 0 ? 0 : read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0 && send_part(fd, "oe"[i], buffer, n) < 0)
                return;
            if (n > 0)
                heard = 1;
            else if (n == 0)
                fds[i].fd = -1; /* its writers have ended: poll() passes over it */
        }
        if (ended && !heard)
            break;
        if (!ended && waitpid(pid, &status, WNOHANG) == pid)
            ended = 1; /* one more turn for what is still in the pipes */
    }
    uint32_t le = htole32(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    send_part(fd, 'x', &le, sizeof le);
}

static void
serve(int fd)
{
    char line[256], user[64];
    unsigned int a, b;

    if (read_line(fd, line, sizeof line) < 0)
        return;
    if (sscanf(line, "run %u %u", &a, &b) == 2)
        serve_run(fd, a, b);
    else if (sscanf(line, "shell %u %u", &a, &b) == 2)
        serve_shell(fd, a, b);
    else if (sscanf(line, "bus %63s", user) == 1)
        serve_bus(fd, user);
}

static struct {
    uint32_t number;
    int fd; /* -1: free */
} channels[MAX_CHANNELS];

static int
open_channel(uint32_t number, int port)
{
    for (int i = 0; i < MAX_CHANNELS; i++) {
        int pair[2];
        if (channels[i].fd >= 0)
            continue;
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) < 0)
            return -1;
        if (fork() == 0) {
            close(port);
            for (int j = 0; j < MAX_CHANNELS; j++)
                if (channels[j].fd >= 0)
                    close(channels[j].fd);
            close(pair[0]);
            signal(SIGCHLD, SIG_DFL);
            serve(pair[1]);
            _exit(0);
        }
        close(pair[1]);
        channels[i].number = number;
        channels[i].fd = pair[0];
        return i;
    }
    return -1;
}

static int
send_frame(int port, uint32_t number, const void *data, uint32_t length)
{
    char buffer[sizeof(struct frame) + CHUNK];
    struct frame frame = {htole32(number), htole32(length)};

    memcpy(buffer, &frame, sizeof frame);
    memcpy(buffer + sizeof frame, data, length);
    return write_all(port, buffer, sizeof frame + length);
}

/* A frame from the host. Channel 0 is the line itself: the host says there that it is new, and
 * gets its own bytes back once everything older is gone. */
static int
from_host(int port)
{
    struct frame frame;
    char *data;
    int i, result = 0;

    if (read_all(port, &frame, sizeof frame) < 0)
        return -1;
    frame.channel = le32toh(frame.channel);
    frame.length = le32toh(frame.length);
    if (frame.length > 1 << 20 || !(data = malloc(frame.length + 1)))
        return -1;
    if (read_all(port, data, frame.length) < 0) {
        free(data);
        return -1;
    }
    for (i = 0; i < MAX_CHANNELS; i++)
        if (channels[i].fd >= 0 && (channels[i].number == frame.channel || frame.channel == 0)) {
            if (frame.channel != 0)
                break;
            close(channels[i].fd);
            channels[i].fd = -1;
        }
    if (frame.channel == 0) {
        result = send_frame(port, 0, data, frame.length > CHUNK ? CHUNK : frame.length);
    } else if (frame.length == 0) {
        if (i < MAX_CHANNELS) {
            close(channels[i].fd);
            channels[i].fd = -1;
        }
    } else {
        if (i == MAX_CHANNELS)
            i = open_channel(frame.channel, port);
        if (i < 0 || write_all(channels[i].fd, data, frame.length) < 0)
            result = send_frame(port, frame.channel, "", 0);
    }
    free(data);
    return result;
}

int
main(void)
{
    char buffer[CHUNK];
    int port;

    signal(SIGCHLD, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    for (int i = 0; i < MAX_CHANNELS; i++)
        channels[i].fd = -1;
    while ((port = open(PORT, O_RDWR | O_CLOEXEC)) < 0)
        usleep(20000);

    for (;;) {
        struct pollfd fds[1 + MAX_CHANNELS] = {{port, POLLIN, 0}};
        for (int i = 0; i < MAX_CHANNELS; i++)
            fds[1 + i] = (struct pollfd){channels[i].fd, POLLIN, 0};
        if (poll(fds, 1 + MAX_CHANNELS, -1) < 0)
            continue;
        for (int i = 0; i < MAX_CHANNELS; i++) {
            if (!fds[1 + i].revents)
                continue;
            ssize_t n = read(channels[i].fd, buffer, sizeof buffer);
            send_frame(port, channels[i].number, buffer, n > 0 ? n : 0);
            if (n <= 0) {
                close(channels[i].fd);
                channels[i].fd = -1;
            }
        }
        /* Without a host the port reads as hung up at once, so it is asked now and then. */
        if (fds[0].revents & POLLIN ? from_host(port) < 0 : fds[0].revents & POLLHUP)
            usleep(20000);
    }
}
