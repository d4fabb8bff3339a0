#include "guard/zolv-guard-ledger.h"

#include <algorithm>

zolv::GuardLedger::Share *
zolv::GuardLedger::enter(std::string_view sender, std::uint32_t serial, std::size_t length,
                         bool wanted)
{
    auto known = senders_.find(sender);

    if (known == senders_.end())
        known = senders_.emplace(sender, Share()).first;
    Share &share = known->second;
    if (!share.calls.empty() &&
        (share.calls.size() >= calls_at_most || share.bytes + length > bytes_at_most))
        return nullptr;
    share.calls.push_back({serial, wanted, length});
    share.bytes += length;
    return &share;
}

bool
zolv::GuardLedger::give(Share &share, std::string_view message)
{
    if (share.n_given >= given_at_most) {
        share.kept.emplace_back(message);
        return false;
    }
    share.n_given++;
    return true;
}

void
zolv::GuardLedger::end_turn(Share &share)
{
    if (!share.kept.empty()) {
        turns_ += share.kept.front();
        share.kept.pop_front();
    } else if (share.n_given > 0) {
        share.n_given--;
    }
}

bool
zolv::GuardLedger::strike(std::string_view sender, std::uint32_t serial)
{
    const auto known = senders_.find(sender);

    if (known == senders_.end())
        return true;
    Share &share = known->second;
    const auto call =
        std::find_if(share.calls.begin(), share.calls.end(),
                     [serial](const Call &waiting) { return waiting.serial == serial; });
    if (call == share.calls.end())
        return true;
    const bool wanted = call->wanted;
    share.bytes -= call->length;
    share.calls.erase(call);
    end_turn(share);
    if (share.calls.empty() &&
        (senders_.size() > idle_at_most || share.calls.capacity() > usual_calls))
        senders_.erase(known);
    return wanted;
}
