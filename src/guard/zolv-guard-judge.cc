#include "guard/zolv-guard-judge.h"

namespace {

constexpr std::string_view bus = "org.freedesktop.DBus";

zolv::Judgement
judge_call(const zolv::MessageHead &head, const zolv::MessageFrame &frame,
           zolv::GuardLedger &ledger)
{
    using zolv::GuardLedger;
    using zolv::Verdict;

    const bool containers = has_container(head);
    const bool too_long =
        frame.total > (containers ? zolv::containers_at_most : zolv::call_at_most);

    GuardLedger::Share *share = ledger.enter(head.sender, head.serial,
                                             too_long ? frame.head : frame.total, head.wants_reply);
    if (share == nullptr)
        return {head.wants_reply ? Verdict::refuse : Verdict::drop};
    if (too_long)
        return {Verdict::empty, share};
    return {containers ? Verdict::examine : Verdict::pass, share};
}

} // namespace

zolv::Judgement
zolv::judge(const MessageHead &head, const MessageFrame &frame, GuardLedger &ledger)
{
    switch (head.type) {
    case MessageType::call:
        return judge_call(head, frame, ledger);
    case MessageType::signal:
        /* Only the bus itself sends signals to one receiver. */
        if (!head.destination.empty() && head.sender != bus)
            return {Verdict::drop};
        break;
    case MessageType::method_return:
    case MessageType::error:
        break;
    default:
        return {Verdict::drop};
    }
    return {has_container(head) ? Verdict::examine : Verdict::pass};
}
