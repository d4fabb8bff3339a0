#include "core/zolv-bus-call.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-text.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

std::string G_GNUC_PRINTF(1, 0) format_text(const char *format, va_list arguments)
{
    std::array<char, 128> text;
    va_list again;

    va_copy(again, arguments);
    const int length = vsnprintf(text.data(), text.size(), format, arguments);
    std::string result(text.data());
    if (length >= static_cast<int>(text.size())) {
        result.resize(static_cast<std::size_t>(length) + 1);
        vsnprintf(result.data(), result.size(), format, again);
        result.pop_back();
    }
    va_end(again);
    return result;
}

/* A line that shows a call and an error, both with what the caller sent, has half the room for
 * each.
 */
std::string
half_a_line(std::string text)
{
    zolv::cut_text(text, zolv::logged_at_most / 2);
    return text;
}

/* The answer of a failed call carries the text to the bus, which takes valid UTF-8 alone. */
void
make_message_fit(GError *error)
{
    if (g_utf8_validate(error->message, -1, nullptr))
        return;
    char *fit = g_strdup(zolv::fit_text(error->message).c_str());
    g_free(error->message);
    error->message = fit;
}

} // namespace

zolv::BusCall::BusCall(ZolvObj *obj, GDBusMethodInvocation *invocation, Levels levels,
                       const char *format, ...)
    : obj_(obj), invocation_(invocation), levels_(levels)
{
    va_list arguments;

    va_start(arguments, format);
    name_ = format_text(format, arguments);
    va_end(arguments);
    cut_text(name_);
    if (levels_.called != 0)
        zolv_obj_log(obj_, levels_.called, "Get method call: %s", name_.c_str());
}

zolv::BusCall::~BusCall()
{
    if (invocation_ != nullptr) {
        ZOLV_ASSERT(error_ != NULL);
        make_message_fit(error_);
        if (levels_.failed != 0)
            zolv_obj_log(obj_, levels_.failed, "%s failed: %s", half_a_line(name_).c_str(),
                         half_a_line(fit_text(error_->message)).c_str());
        g_dbus_method_invocation_take_error(invocation_, error_);
        error_ = nullptr;
    }
    /* An operation that succeeds in spite of a failed step may leave its error behind. */
    g_clear_error(&error_);
}

void
zolv::BusCall::result_name(const char *format, ...)
{
    va_list arguments;

    va_start(arguments, format);
    name_ = format_text(format, arguments);
    va_end(arguments);
    cut_text(name_);
}

bool
zolv::BusCall::refuse(int failed, ZolvCoreError code, const char *message)
{
    levels_.failed = failed;
    return fail(&error_, code, message);
}

GDBusMethodInvocation *
zolv::BusCall::ok(const char *suffix_format, ...)
{
    if (levels_.ok != 0 && log_enabled(levels_.ok)) {
        std::string suffix;
        if (suffix_format != nullptr) {
            va_list arguments;
            va_start(arguments, suffix_format);
            suffix = format_text(suffix_format, arguments);
            va_end(arguments);
            cut_text(suffix);
        }
        zolv_obj_log(obj_, levels_.ok, "%s OK%s", name_.c_str(), suffix.c_str());
    }
    return take();
}

GDBusMethodInvocation *
zolv::BusCall::take()
{
    return std::exchange(invocation_, nullptr);
}

void
zolv::connect_handlers(gpointer skeleton, ZolvObj *obj, std::initializer_list<Handler> handlers)
{
    for (const Handler &handler : handlers)
        g_signal_connect_object(skeleton, handler.signal, handler.callback, obj,
                                static_cast<GConnectFlags>(0));
}
