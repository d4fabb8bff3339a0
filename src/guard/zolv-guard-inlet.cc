#include "guard/zolv-guard-inlet.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <utility>

namespace {

/* Some forty calls of the usual length in one go. */
constexpr std::size_t usual_buffer = 8U << 10U;
/* About a millisecond's work. */
constexpr std::size_t turn_at_most = 256U << 10U;
/* The shares of a hundred senders with calls of the usual length. */
constexpr std::size_t ready_at_most = 1U << 20U;

ssize_t
receive_without_waiting(int fd, std::uint8_t *data, std::size_t size)
{
    ssize_t received = 0;

    do {
        received = recv(fd, data, size, MSG_DONTWAIT);
    } while (received < 0 && errno == EINTR);
    return received;
}

} // namespace

zolv::GuardInlet::GuardInlet(int fd, GuardLedger &ledger, GuardOutlet &outlet)
    : fd_(fd), ledger_(ledger), outlet_(outlet), buffer_(usual_buffer)
{
}

/* Whether there are @wanted bytes in the buffer; else errno says why not, 0 being the stream's end.
 */
bool
zolv::GuardInlet::receive(std::size_t wanted)
{
    while (available() < wanted) {
        if (emptied_socket_ || turn_ >= turn_at_most) {
            errno = EAGAIN;
            return false;
        }
        const std::size_t size = std::max(wanted, usual_buffer);
        memmove(buffer_.data(), buffer_.data() + begin_, available());
        explicit_bzero(buffer_.data() + available(), begin_);
        end_ = available();
        begin_ = 0;
        if (buffer_.size() != size) {
            buffer_.resize(size);
            buffer_.shrink_to_fit();
        }
        const std::size_t room = buffer_.size() - end_;
        const ssize_t received = receive_without_waiting(fd_, buffer_.data() + end_, room);
        if (received <= 0) {
            errno = received < 0 ? errno : 0;
            return false;
        }
        end_ += static_cast<std::size_t>(received);
        emptied_socket_ = static_cast<std::size_t>(received) < room;
    }
    return true;
}

/* A call for which it is not yet its sender's turn stays with the ledger. */
void
zolv::GuardInlet::deliver(std::string_view message)
{
    GuardLedger::Share *share = std::exchange(share_, nullptr);

    if (share == nullptr || GuardLedger::give(*share, message))
        ready_ += message;
    else
        turn_ += message.size();
}

void
zolv::GuardInlet::replace_message(std::size_t head, std::size_t total)
{
    deliver(emptied(stored(head)));
    skip_ = total;
}

/* Decides on the next message by its header; errno as with receive(). */
bool
zolv::GuardInlet::judge_message()
{
    if (!receive(frame_size))
        return false;
    const auto frame = read_frame(stored(frame_size));
    if (!frame) {
        errno = EBADMSG;
        return false;
    }
    if (frame->head > head_at_most) {
        skip_ = frame->total;
        return true;
    }
    if (!receive(frame->head))
        return false;
    const auto head = read_head(stored(frame->head));
    const auto [verdict, share] = head ? judge(*head, *frame, ledger_) : Judgement{Verdict::drop};
    share_ = share;
    if (verdict == Verdict::refuse)
        outlet_.refuse(*head);
    /* So that GDBus answers every call, and the ledger knows when. */
    if (head && head->type == MessageType::call)
        buffer_[begin_ + flags_at] &= static_cast<std::uint8_t>(~no_reply_expected);
    if (verdict == Verdict::empty) {
        replace_message(frame->head, frame->total);
    } else if (verdict == Verdict::pass || verdict == Verdict::examine) {
        collect_ = frame->total;
        examine_ = verdict == Verdict::examine;
        secret_ = head && has_secret(*head);
    } else {
        skip_ = frame->total;
    }
    return true;
}

/* A message that passes is there as a whole. It may hold a passphrase, of which no copy stays: not
 * here, and not where GDBus reads messages, one over the other. */
void
zolv::GuardInlet::finish_message()
{
    const std::size_t total = std::exchange(collect_, 0);
    const MessageBytes message = stored(total);

    if (examine_ && !is_readable(message)) {
        replace_message(read_frame(message)->head, total);
        return;
    }
    const std::string_view text(reinterpret_cast<const char *>(message.data()), total);
    if (secret_)
        deliver(GuardText(text) += filler(total));
    else
        deliver(text);
    explicit_bzero(buffer_.data() + begin_, total);
    begin_ += total;
}

/* One step with the message under way; errno as with receive(). */
bool
zolv::GuardInlet::take_message()
{
    if (skip_ > 0) {
        if (!receive(1))
            return false;
        const std::size_t size = std::min(skip_, available());
        explicit_bzero(buffer_.data() + begin_, size);
        begin_ += size;
        skip_ -= size;
        turn_ += size;
        return true;
    }
    if (collect_ == 0)
        return judge_message();
    if (!receive(collect_))
        return false;
    finish_message();
    return true;
}

/* A flood never lets the queue run empty, so what GDBus has of it goes in between. No more
 * bytes are moved than go. */
void
zolv::GuardInlet::forget_given()
{
    if (given_ < usual_buffer || given_ < ready_.size() - given_)
        return;
    ready_ = GuardText(ready_, given_);
    given_ = 0;
}

/* Takes what the bus has sent so far; whether there is something for GDBus, else errno as with
 * receive(). */
bool
zolv::GuardInlet::drain()
{
    turn_ = 0;
    emptied_socket_ = false;
    outlet_.flush();
    forget_given();
    ready_ += ledger_.take_turns();
    while (ready_.size() - given_ < ready_at_most && take_message())
        ;
    return given_ < ready_.size();
}

ssize_t
zolv::GuardInlet::give(std::uint8_t *data, std::size_t size)
{
    if (left_ == 0) {
        const auto *next = reinterpret_cast<const std::uint8_t *>(ready_.data()) + given_;
        left_ = read_frame({next, frame_size})->total;
    }
    size = std::min(size, left_);
    memcpy(data, ready_.data() + given_, size);
    explicit_bzero(ready_.data() + given_, size);
    given_ += size;
    left_ -= size;
    if (given_ == ready_.size()) {
        given_ = 0;
        ready_.clear();
        if (ready_.capacity() > usual_buffer)
            ready_.shrink_to_fit();
    }
    return static_cast<ssize_t>(size);
}

ssize_t
zolv::GuardInlet::read(std::uint8_t *data, std::size_t size)
{
    if (left_ == 0 && !drain())
        return errno == 0 ? 0 : -1;
    return give(data, size);
}
