/*
 * What a test does to calls of a library: the folder /run/calls of the board.
 *
 *   /run/calls/FUNCTION   a shell script that is run before each call, with the function's argument
 *                         as its own; the call fails when it ends with another status than 0
 *   /run/calls/every      a shell script that is run before that
 *   /run/calls/record     the calls so far, one a line: function and argument
 *
 * Only calls of the daemon count, not those of the programs that it starts.
 */
#pragma once

#define _GNU_SOURCE
#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

/* The status of a script of the folder; 0 without such a script. */
static int
run_script(const char *name, const char *argument)
{
    char script[256];
    int status = 0;
    pid_t pid = 0;

    snprintf(script, sizeof script, "/run/calls/%s", name);
    if (access(script, F_OK) != 0)
        return 0;

    /* The daemon ignores the signal by which its child's end could be waited for. */
    struct sigaction standard = {.sa_handler = SIG_DFL};
    struct sigaction previous;
    sigaction(SIGCHLD, &standard, &previous);
    char *command[] = {"/bin/sh", script, (char *)argument, NULL};
    if (posix_spawn(&pid, command[0], NULL, NULL, command, environ) != 0 ||
        waitpid(pid, &status, 0) != pid)
        status = -1;
    sigaction(SIGCHLD, &previous, NULL);
    return status;
}

static int
refused(const char *function, const char *argument)
{
    if (strcmp(program_invocation_short_name, "tarvelperimond") != 0)
        return 0;
    FILE *record = fopen("/run/calls/record", "ae");
    if (record != NULL) {
        fprintf(record, "%s %s\n", function, argument);
        fclose(record);
    }
    (void)run_script("every", function);
    return run_script(function, argument) != 0;
}

/* What a device of the board holds lies in a file below /run/disks. */
static const char *
image_of(const char *device, char *path, size_t size)
{
    snprintf(path, size, "/run/disks%s", device);
    return access(path, F_OK) == 0 ? path : device;
}
