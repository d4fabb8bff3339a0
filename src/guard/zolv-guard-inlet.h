#pragma once

#include "guard/zolv-guard-bytes.h"
#include "guard/zolv-guard-judge.h"
#include "guard/zolv-guard-outlet.h"

#include <string_view>
#include <sys/types.h>

namespace zolv {

/*
 * What the bus sends on its way to GDBus: whole messages, and those alone that do no harm.
 *
 * It reads ahead of GDBus, which takes the time of a call for a message. So the share of a sender
 * is used up soon, and what comes above it is out of the way of the others at once.
 */
class GuardInlet {
  public:
    /* The descriptor is a socket and belongs to the caller. */
    GuardInlet(int fd, GuardLedger &ledger, GuardOutlet &outlet);

    /* Gives GDBus what there is for it, @size bytes at most. Returns as recv() does, and never
     * waits. Where much is thrown away or kept it says EAGAIN although the socket has more, so that
     * the answers of others have their turn. */
    ssize_t read(std::uint8_t *data, std::size_t size);

    /* Bytes of the messages that it keeps, and of those that GDBus has and that are not forgotten.
     */
    std::size_t held() const { return available() + ready_.size(); }

  private:
    bool drain();
    void forget_given();
    bool receive(std::size_t wanted);
    bool take_message();
    bool judge_message();
    void finish_message();
    void replace_message(std::size_t head, std::size_t total);
    void deliver(std::string_view message);
    ssize_t give(std::uint8_t *data, std::size_t size);

    std::size_t available() const { return end_ - begin_; }
    MessageBytes stored(std::size_t size) const { return {buffer_.data() + begin_, size}; }

    int fd_;
    GuardLedger &ledger_;
    GuardOutlet &outlet_;
    GuardBuffer buffer_; /* what the bus has sent lies between begin_ and end_ */
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool emptied_socket_ = false; /* the last reading brought less than there was room for */
    std::size_t turn_ = 0;        /* bytes thrown away or kept in this turn */
    /* Bytes of the message under way in the buffer: */
    std::size_t skip_ = 0;                /* to be thrown away */
    std::size_t collect_ = 0;             /* to be there before it is passed on */
    bool examine_ = false;                /* whether GLib is asked then */
    bool secret_ = false;                 /* whether a filler follows it */
    GuardLedger::Share *share_ = nullptr; /* of the sender of a call */
    /* What GDBus gets, how much of that it has, and how much of the message that it reads it has
     * not. */
    GuardText ready_;
    std::size_t given_ = 0;
    std::size_t left_ = 0;
};

} // namespace zolv
