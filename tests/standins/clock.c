/*
 * Preloaded into the daemon: its own waits, not those for descriptors, are BOARD_SPEED times as
 * short. Each is first told to /dev/waits of the board, in milliseconds of the program's time. With
 * BOARD_CLOCK the steady clock and the waits for descriptors go along, and with them every time
 * limit of the bus.
 *
 * It answers two requests of /dev/uinput as well: they bring a number where others bring an
 * address, so that no file of the board can see them. They are told to /dev/uinput-bits.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/uinput.h>
#include <poll.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#define SECOND 1000000000LL
#define NEXT(function) ((__typeof__(&function))next(#function))

static long long speed = 1;
static long long clock_speed = 1;
static long long base;             /* of the steady clock, the same in both times */
static __thread long long now_was; /* what this thread was last told: deadlines come from it */

static void *
next(const char *name)
{
    return dlsym(RTLD_NEXT, name);
}

static long long
ns(const struct timespec *time)
{
    return time->tv_sec * SECOND + time->tv_nsec;
}

static struct timespec
ts(long long time)
{
    struct timespec result = {time / SECOND, time % SECOND};

    return result;
}

static long long
real_now(void)
{
    static __typeof__(&clock_gettime) real;
    struct timespec now;

    if (real == NULL)
        real = NEXT(clock_gettime);
    real(CLOCK_MONOTONIC, &now);
    return ns(&now);
}

static __attribute__((constructor)) void
begin(void)
{
    const char *word = getenv("BOARD_SPEED");

    if (word == NULL || strcmp(program_invocation_short_name, "tarvelperimond") != 0)
        return;
    /* Scripts that the daemon starts have the time of everybody else. */
    unsetenv("LD_PRELOAD");
    base = real_now();
    speed = atoll(word);
    if (getenv("BOARD_CLOCK") != NULL)
        clock_speed = speed;
}

static int
tell(const char *file, const char *text)
{
    int fd = open(file, O_WRONLY | O_CLOEXEC);
    int result = fd >= 0 && write(fd, text, strlen(text)) > 0 ? 0 : -1;
    int saved = errno;

    if (fd >= 0)
        close(fd);
    errno = saved;
    return result;
}

static void
tell_wait(long long wait)
{
    int saved = errno;
    char text[32];

    if (speed == 1 || wait < SECOND / 20)
        return;
    snprintf(text, sizeof text, "%lld", (wait + SECOND / 2000) / (SECOND / 1000));
    tell("/dev/waits", text);
    errno = saved;
}

int
clock_gettime(clockid_t clock, struct timespec *time)
{
    static __typeof__(&clock_gettime) real;

    if (real == NULL)
        real = NEXT(clock_gettime);
    int result = real(clock, time);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        now_was = base + (ns(time) - base) * clock_speed;
        *time = ts(now_was);
    }
    return result;
}

/* In real time: the deadline was made of the time that the thread has last asked for. */
static struct timespec
real_deadline(const struct timespec *deadline)
{
    return ts(real_now() + (ns(deadline) - now_was) / speed);
}

int
clock_nanosleep(clockid_t clock, int flags, const struct timespec *time, struct timespec *left)
{
    struct timespec real;

    if (speed == 1 || clock != CLOCK_MONOTONIC)
        return NEXT(clock_nanosleep)(clock, flags, time, left);
    tell_wait((flags & TIMER_ABSTIME) != 0 ? ns(time) - now_was : ns(time));
    real = (flags & TIMER_ABSTIME) != 0 ? real_deadline(time) : ts(ns(time) / speed);
    return NEXT(clock_nanosleep)(clock, flags, &real, left);
}

int
nanosleep(const struct timespec *time, struct timespec *left)
{
    struct timespec real = ts(ns(time) / speed);

    tell_wait(ns(time));
    return NEXT(nanosleep)(&real, left);
}

int
sem_clockwait(sem_t *semaphore, clockid_t clock, const struct timespec *deadline)
{
    struct timespec real;

    if (speed == 1 || clock != CLOCK_MONOTONIC)
        return NEXT(sem_clockwait)(semaphore, clock, deadline);
    tell_wait(ns(deadline) - now_was);
    real = real_deadline(deadline);
    return NEXT(sem_clockwait)(semaphore, clock, &real);
}

int
ppoll(struct pollfd *files, nfds_t count, const struct timespec *time, const sigset_t *mask)
{
    struct timespec real = ts(time != NULL ? ns(time) / clock_speed : 0);

    return NEXT(ppoll)(files, count, time != NULL ? &real : NULL, mask);
}

int
poll(struct pollfd *files, nfds_t count, int wait_ms)
{
    struct timespec time = ts(wait_ms * (SECOND / 1000));

    return ppoll(files, count, wait_ms >= 0 ? &time : NULL, NULL);
}

int
ioctl(int fd, unsigned long request, ...)
{
    static __typeof__(&ioctl) real;
    va_list arguments;
    void *argument;
    char text[64];

    va_start(arguments, request);
    argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == UI_SET_EVBIT || request == UI_SET_KEYBIT) {
        snprintf(text, sizeof text, "%s %ld",
                 request == UI_SET_EVBIT ? "UI_SET_EVBIT" : "UI_SET_KEYBIT", (long)argument);
        return tell("/dev/uinput-bits", text);
    }
    if (real == NULL)
        real = NEXT(ioctl);
    return real(fd, request, argument);
}
