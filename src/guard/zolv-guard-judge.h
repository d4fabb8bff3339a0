#pragma once

#include "guard/zolv-guard-ledger.h"
#include "guard/zolv-guard-message.h"

namespace zolv {

/* What becomes of a message from the bus. */
enum class Verdict {
    pass,
    empty,   /* passes without its arguments */
    examine, /* passes if GLib can read it, else without its arguments */
    refuse,  /* is answered in the daemon's place */
    drop,
};

/* A call above these lengths loses its arguments. No method takes as much; a message with
 * containers takes GLib 270 times its length when it is read. */
inline constexpr std::size_t call_at_most = 256U << 10U;
inline constexpr std::size_t containers_at_most = 4U << 10U;
/* A header above this length is not even stored, so nobody is there to be answered. */
inline constexpr std::size_t head_at_most = 64U << 10U;

struct Judgement {
    Verdict verdict;
    GuardLedger::Share *share = nullptr; /* of the sender of a call that passes */
};

/* Judges by the header alone; a call that passes is entered in the ledger. */
Judgement judge(const MessageHead &head, const MessageFrame &frame, GuardLedger &ledger);

} // namespace zolv
