#include "guard/zolv-guard-ledger.h"

#include <algorithm>

bool
zolv::GuardLedger::enter(std::string_view sender, std::uint32_t serial, std::size_t length,
                         bool wanted)
{
    auto known = senders_.find(sender);

    if (known == senders_.end())
        known = senders_.emplace(sender, Sender()).first;
    Sender &share = known->second;
    if (!share.calls.empty() &&
        (share.calls.size() >= calls_at_most || share.bytes + length > bytes_at_most))
        return false;
    share.calls.push_back({serial, wanted, length});
    share.bytes += length;
    return true;
}

bool
zolv::GuardLedger::strike(std::string_view sender, std::uint32_t serial)
{
    const auto known = senders_.find(sender);

    if (known == senders_.end())
        return true;
    Sender &share = known->second;
    const auto call =
        std::find_if(share.calls.begin(), share.calls.end(),
                     [serial](const Call &waiting) { return waiting.serial == serial; });
    if (call == share.calls.end())
        return true;
    const bool wanted = call->wanted;
    share.bytes -= call->length;
    share.calls.erase(call);
    if (share.calls.empty() && senders_.size() > idle_at_most)
        senders_.erase(known);
    return wanted;
}
