#pragma once

#include "guard/zolv-guard-inlet.h"
#include "guard/zolv-guard-ledger.h"
#include "guard/zolv-guard-outlet.h"

namespace zolv {

/* What stands between the bus and GDBus: both directions and what they share. Only GDBus's own
 * thread comes here, so there is no lock. The socket belongs to the caller. */
struct Guard {
    explicit Guard(int socket) : fd(socket) {}

    int fd;
    GuardLedger ledger;
    GuardOutlet outlet{fd, ledger};
    GuardInlet inlet{fd, ledger, outlet};
};

} // namespace zolv
