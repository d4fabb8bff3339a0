#include "guard/zolv-guard-outlet.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

namespace {

/* Some 400 answers */
constexpr std::size_t refusals_at_most = 64U << 10U;

} // namespace

ssize_t
zolv::GuardOutlet::send(MessageBytes data) const
{
    return ::send(fd_, data.data(), data.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void
zolv::GuardOutlet::begin(MessageBytes message)
{
    swallow_ = false;
    left_ = message.size();
    const auto frame = message.size() < frame_size ? std::nullopt : read_frame(message);
    if (!frame || frame->head > message.size())
        return;
    left_ = frame->total;
    const auto head = read_head(message.first(frame->head));
    if (head && (head->type == MessageType::method_return || head->type == MessageType::error))
        swallow_ = !ledger_.strike(head->destination, head->reply_serial);
}

ssize_t
zolv::GuardOutlet::write(MessageBytes data)
{
    if (left_ == 0) {
        flush();
        if (has_rest()) {
            errno = EAGAIN;
            return -1;
        }
        begin(data);
    }
    data = data.first(std::min(data.size(), left_));
    const ssize_t taken = swallow_ ? static_cast<ssize_t>(data.size()) : send(data);
    if (taken < 0)
        return taken;
    left_ -= static_cast<std::size_t>(taken);
    if (left_ == 0)
        flush();
    return taken;
}

void
zolv::GuardOutlet::refuse(const MessageHead &call)
{
    const std::string refusal = limits_exceeded(call);

    if (refusals_.size() + refusal.size() > refusals_at_most)
        return;
    refusals_ += refusal;
    flush();
}

void
zolv::GuardOutlet::flush()
{
    if (left_ != 0 || refusals_.empty())
        return;
    const ssize_t sent =
        send({reinterpret_cast<const std::uint8_t *>(refusals_.data()), refusals_.size()});
    if (sent > 0)
        refusals_.erase(0, static_cast<std::size_t>(sent));
    else if (errno != EAGAIN && errno != EINTR)
        refusals_.clear(); /* the bus has gone, as GDBus will see */
}
