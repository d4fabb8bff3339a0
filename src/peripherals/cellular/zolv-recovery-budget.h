#pragma once

namespace zolv {

/*
 * What the recovery of modules in their protection mode may still spend. It is kept in a file,
 * since it has to outlive the restarts that it counts; without the file it is what the environment
 * grants. Nothing here follows a link or waits for another program.
 */
struct RecoveryBudget {
    int power_cycles = 0;
    int restarts = 0;

    /* As it is now; where there is no record, one is begun. */
    static RecoveryBudget read();
    /* Keeps it in the record, on the disk when this returns; a failure is logged. What could not be
     * kept is remembered until the process ends. */
    void store() const;
    /* Whether a restart of the computer would find no more restarts than these. */
    bool outlives_restart() const;

    /* Power cycles as the environment grants them. */
    static int granted_power_cycles();
    /* Forgets the record: a module has come up in order. Whether there was one. */
    static bool clear();
};

} // namespace zolv
