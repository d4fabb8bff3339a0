#pragma once

#include "guard/zolv-guard-ledger.h"
#include "guard/zolv-guard-message.h"

#include <string>
#include <sys/types.h>

namespace zolv {

/* What GDBus writes on its way to the bus, and the answers that the guard gives itself. */
class GuardOutlet {
  public:
    /* The descriptor is a socket; both belong to the caller. */
    GuardOutlet(int fd, GuardLedger &ledger) : fd_(fd), ledger_(ledger) {}

    /* Takes bytes of GDBus, whose first write of a message holds the whole message. Each reply is
     * struck out of the ledger, and sent only if it is wanted. Returns as send() does, and never
     * waits. */
    ssize_t write(MessageBytes data);
    /* Answers a call for which there is no room; unless the bus is so far behind that there is none
     * for the answer, either. */
    void refuse(const MessageHead &call);
    /* Sends what could not be sent at once. */
    void flush();
    /* Whether flush() has something left for the time when the socket takes more. */
    bool has_rest() const { return !refusals_.empty(); }

  private:
    void begin(MessageBytes message);
    ssize_t send(MessageBytes data) const;

    int fd_;
    GuardLedger &ledger_;
    std::size_t left_ = 0; /* of the message that GDBus is writing */
    bool swallow_ = false;
    std::string refusals_;
};

} // namespace zolv
