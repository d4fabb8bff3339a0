#include "peripherals/cellular/zolv-cellular-telit-prot.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-stop.h"
#include "peripherals/cellular/zolv-recovery-budget.h"
#include "tvl-log.h"

#include <cerrno>
#include <sys/reboot.h>
#include <unistd.h>

struct _ZolvCellularTelitPROTPrivate {};

namespace {

using zolv::RecoveryBudget;

/* What the socket cannot do stands in the log, and has been spent all the same. */
void
power_cycle(RecoveryBudget budget, ZolvSocket *socket)
{
    ZOLV_SOCKET_GET_CLASS(socket)->recover(socket, nullptr);
    budget.power_cycles--;
    budget.store();
}

/* At once: the services that would be ended in order may be waiting for the modem. */
void
restart_computer()
{
    sync();
    if (reboot(RB_AUTOBOOT) != 0)
        _tvl_log(TVL_LOG_ERROR, "Failed to restart the computer: %s", g_strerror(errno));
}

/* After the restart the module may be power cycled anew. A stop of the daemon may be that of the
 * computer, which then ends in order and needs no help. */
bool
restart(RecoveryBudget budget, ZolvSocket *socket)
{
    budget.power_cycles = RecoveryBudget::granted_power_cycles();
    ZOLV_SOCKET_GET_CLASS(socket)->shutdown(socket, nullptr);
    if (zolv::stop_requested())
        return false;
    budget.restarts--;
    budget.store();
    /* Else the computer would restart again and again, for as long as the module is as it is. */
    if (!budget.outlives_restart()) {
        _tvl_log(TVL_LOG_ERROR, "Computer not restarted, since the restart cannot be counted");
        return false;
    }
    restart_computer();
    return true;
}

} // namespace

static gboolean
telit_prot_recover(ZolvCellularTelitPROT *self, ZolvSocket *socket)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(socket != NULL);
    const RecoveryBudget budget = RecoveryBudget::read();

    _tvl_log(TVL_LOG_INFO, "Remaining: Power Cycle Telit Times %d, Reboot OS Times %d",
             budget.power_cycles, budget.restarts);
    if (budget.power_cycles > 0)
        power_cycle(budget, socket);
    else if (budget.restarts > 0)
        return restart(budget, socket);
    else
        return FALSE;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvCellularTelitPROT, zolv_cellular_telit_prot, ZOLV_TYPE_CELLULAR)
{
    klass->recover = telit_prot_recover;
}
