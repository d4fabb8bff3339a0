#pragma once

#include "core/zolv-raii.h"
#include "tvl-log.h"
#include "zolv-error.h"
#include "zolv-obj.h"

#include <initializer_list>
#include <string>

namespace zolv {

/*
 * One method call on a peripheral object: logs the call when made, its success in ok(), its failure
 * when it goes out of scope, and answers exactly once. A handler that neither answers nor sets an
 * error is broken: the destructor aborts.
 */
class BusCall {
  public:
    /* 0 is the level of a line that the method does not write. */
    struct Levels {
        int called = TVL_LOG_INFO;
        int ok = TVL_LOG_INFO;
        int failed = TVL_LOG_ERROR;

        static const Levels info;     /* for a method that is called now and then */
        static const Levels debug;    /* for one that may be called often */
        static const Levels failures; /* for one of which only failures are logged */
    };

    /* @format and its arguments give the call as the log shows it: "SetState(%d)". */
    BusCall(ZolvObj *obj, GDBusMethodInvocation *invocation, Levels levels, const char *format, ...)
        G_GNUC_PRINTF(5, 6);
    ~BusCall();
    BusCall(const BusCall &) = delete;
    BusCall &operator=(const BusCall &) = delete;

    /* The name in the result lines, where it is not that of the call line. */
    void result_name(const char *format, ...) G_GNUC_PRINTF(2, 3);
    /* Where the operation puts its error, which reaches the caller unchanged. */
    GError **error() { return &error_; }
    /* A refusal before the operation is reached; returns false. @failed is its log level. */
    bool refuse(int failed, ZolvCoreError code, const char *message);
    /* Logs the success and hands the invocation to the generated completion function. */
    GDBusMethodInvocation *ok(const char *suffix_format = nullptr, ...) G_GNUC_PRINTF(2, 3);
    /* Hands the invocation over without a line. */
    GDBusMethodInvocation *take();

  private:
    ZolvObj *obj_;
    GDBusMethodInvocation *invocation_;
    Levels levels_;
    std::string name_;
    GError *error_ = nullptr;
};

inline constexpr BusCall::Levels BusCall::Levels::info = {};
inline constexpr BusCall::Levels BusCall::Levels::debug = {.called = TVL_LOG_DEBUG,
                                                           .ok = TVL_LOG_DEBUG};
inline constexpr BusCall::Levels BusCall::Levels::failures = {.called = 0, .ok = 0};

struct Handler {
    const char *signal;
    GCallback callback;
};

/* Connects the handlers of @skeleton with @obj as user data, for as long as @obj lives: a call in
 * flight keeps the skeleton alive longer. */
void connect_handlers(gpointer skeleton, ZolvObj *obj, std::initializer_list<Handler> handlers);

} // namespace zolv
