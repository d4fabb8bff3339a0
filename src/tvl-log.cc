#include "core/tvl-log-internal.h"

#include "core/zolv-assert.h"

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <syslog.h>
#include <unistd.h>

namespace {

using Sink = void (*)(int priority, const char *text, gsize length);

struct LevelDescription {
    const char *tag; /* seven characters each, so that messages line up */
    int priority;
};

constexpr std::size_t initial_capacity = 512;

std::atomic<int> threshold = TVL_LOG_INFO;
int log_fd = -1;

void
write_once(int fd, const char *text, gsize length)
{
    /* A line that cannot be written has nowhere to be reported. */
    [[maybe_unused]] const ssize_t written = write(fd, text, length);
}

void
sink_file(int, const char *text, gsize length)
{
    write_once(log_fd, text, length);
    fsync(log_fd);
}

void
sink_stdout(int, const char *text, gsize length)
{
    write_once(STDOUT_FILENO, text, length);
}

void
sink_syslog(int priority, const char *text, gsize)
{
    syslog(priority, "%s", text);
}

/* Before the set-up lines go where a daemon's lines go. */
Sink sink = sink_syslog;

int
glib_level_to_priority(GLogLevelFlags level)
{
    switch (level & G_LOG_LEVEL_MASK) {
    case G_LOG_LEVEL_ERROR:
        return LOG_CRIT;
    case G_LOG_LEVEL_CRITICAL:
        return LOG_ERR;
    case G_LOG_LEVEL_WARNING:
        return LOG_WARNING;
    case G_LOG_LEVEL_MESSAGE:
        return LOG_NOTICE;
    case G_LOG_LEVEL_DEBUG:
        return LOG_DEBUG;
    default:
        return LOG_INFO;
    }
}

LevelDescription
log_level_description(int level)
{
    static constexpr LevelDescription descriptions[] = {
        {"<debug>", LOG_DEBUG},
        {"<info> ", LOG_INFO},
        {"<warn> ", LOG_WARNING},
        {"<error>", LOG_ERR},
    };

    ZOLV_ASSERT(level >= TVL_LOG_DEBUG && level <= TVL_LOG_ERROR);
    return descriptions[level - TVL_LOG_DEBUG];
}

/* The one line buffer of the process. It is never freed: a thread may log until the very end. */
struct LineBuffer {
    std::mutex mutex;
    GString *text = g_string_sized_new(initial_capacity);
};

LineBuffer &
line_buffer()
{
    static auto *buffer = new LineBuffer;

    return *buffer;
}

/* g_string_append_vprintf() allocates a copy each time; this formats into the spare capacity. */
void G_GNUC_PRINTF(2, 0) append_formatted(GString *text, const char *format, va_list arguments)
{
    va_list again;
    const gsize start = text->len;
    const gsize room = text->allocated_len - start;

    va_copy(again, arguments);
    const int length = vsnprintf(text->str + start, room, format, arguments);
    if (length < 0) {
        text->str[start] = '\0';
    } else {
        g_string_set_size(text, start + static_cast<gsize>(length));
        if (static_cast<gsize>(length) >= room)
            vsnprintf(text->str + start, static_cast<gsize>(length) + 1, format, again);
    }
    va_end(again);
}

void
pass_on_glib_message(GLogLevelFlags level, const char *message)
{
    const char *text = message != nullptr ? message : "";
    LineBuffer &buffer = line_buffer();
    const std::lock_guard lock(buffer.mutex);

    sink(glib_level_to_priority(level), text, strlen(text));
}

void
glib_log_handler(const char *, GLogLevelFlags level, const char *message, gpointer)
{
    pass_on_glib_message(level, message);
}

/* Messages that a library hands to g_log_structured() never see a log handler. */
GLogWriterOutput
glib_log_writer(GLogLevelFlags level, const GLogField *fields, gsize n_fields, gpointer)
{
    for (gsize i = 0; i < n_fields; i++) {
        if (strcmp(fields[i].key, "MESSAGE") != 0)
            continue;
        const gssize length = fields[i].length;
        const auto *text = static_cast<const char *>(fields[i].value);
        g_autofree char *copy = length < 0 ? g_strdup(text) : g_strndup(text, length);
        pass_on_glib_message(level, copy);
    }
    return G_LOG_WRITER_HANDLED;
}

} // namespace

int
tvl_log_setup(const char *path)
{
    if (path != nullptr) {
        log_fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0660);
        if (log_fd < 0)
            return -1;
        sink = sink_file;
    } else if (g_getenv("INVOCATION_ID") != nullptr) {
        sink = sink_stdout;
    } else {
        openlog(nullptr, LOG_PID | LOG_CONS | LOG_PERROR, LOG_DAEMON);
        sink = sink_syslog;
    }

    /* A handler that is set for the NULL domain hears that domain alone; the default handler hears
     * every domain that has no handler of its own. */
    g_log_set_default_handler(glib_log_handler, nullptr);
    /* GLib takes one writer in the life of a process; this one asks for the sink each time. */
    static std::once_flag writer_set;
    std::call_once(writer_set, [] { g_log_set_writer_func(glib_log_writer, nullptr, nullptr); });
    return 0;
}

int
tvl_log_set_level(const char *name)
{
    static constexpr struct {
        const char *name;
        TvlLogLevel level;
    } levels[] = {
        {"ERR", TVL_LOG_ERROR},
        {"WARN", TVL_LOG_WARN},
        {"INFO", TVL_LOG_INFO},
        {"DEBUG", TVL_LOG_DEBUG},
    };

    for (const auto &candidate : levels) {
        if (g_ascii_strcasecmp(name, candidate.name) == 0) {
            threshold.store(candidate.level, std::memory_order_relaxed);
            return 0;
        }
    }
    return -1;
}

bool
zolv::log_enabled(int level)
{
    return level >= threshold.load(std::memory_order_relaxed);
}

void
zolv::log_line(int level, const char *tag, const char *format, va_list arguments)
{
    if (!log_enabled(level))
        return;

    LineBuffer &buffer = line_buffer();
    const std::lock_guard lock(buffer.mutex);
    const LevelDescription description = log_level_description(level);
    GString *text = buffer.text;

    g_string_truncate(text, 0);
    g_string_append(text, description.tag);
    g_string_append_c(text, ' ');

    /* The clock must work; syslog and the journal stamp the lines themselves. */
    GDateTime *tv = g_date_time_new_now_utc();
    ZOLV_ASSERT(tv != NULL);
    g_date_time_unref(tv);

    if (tag != nullptr) {
        g_string_append_c(text, '[');
        g_string_append(text, tag);
        g_string_append(text, "] ");
    }
    append_formatted(text, format, arguments);
    g_string_append_c(text, '\n');
    sink(description.priority, text->str, text->len);
}

void
_tvl_log(int level, const char *format, ...)
{
    va_list arguments;

    if (!zolv::log_enabled(level))
        return;
    va_start(arguments, format);
    zolv::log_line(level, nullptr, format, arguments);
    va_end(arguments);
}

void
tvl_log_shutdown(void)
{
    if (log_fd < 0)
        closelog();
    else
        close(log_fd);
}
