#pragma once

#include <chrono>

namespace zolv {

/* From now on SIGTERM and SIGINT end the waits below and have the main loop call @callback, once
 * for each signal; a second one of its kind then ends the process by default. */
void catch_termination(void (*callback)());

/* Whether this thread is to come to its end: the main loop's by a signal, a Worker's by its flag.
 */
bool stop_requested();

/* Waits, on the main loop and in a Worker's thread alike. A stop cuts the wait short, or the next
 * one; false then. */
bool pause(std::chrono::milliseconds duration);

/* While there is one, the thread's pauses last their whole time: what was begun may not be left
 * half done, such as a modem's orderly end. They may be nested. */
class FinishFirst {
  public:
    FinishFirst();
    FinishFirst(const FinishFirst &) = delete;
    FinishFirst &operator=(const FinishFirst &) = delete;
    ~FinishFirst();
};

} // namespace zolv
