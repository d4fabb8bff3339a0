#pragma once

#include "guard/zolv-guard-bytes.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zolv {

/* The calls of each sender that are not answered yet. */
class GuardLedger {
  public:
    static constexpr std::size_t calls_at_most = 64;
    static constexpr std::size_t bytes_at_most = 256U << 10U;
    /* So many senders are remembered that have none waiting: a sender calls more than once, and
     * its entry is dear to make. One that had more than the usual number waiting is not: the room
     * for them would stay with it. */
    static constexpr std::size_t idle_at_most = 32;
    static constexpr std::size_t usual_calls = 8;

    /* GDBus has so many calls of a sender at a time, and the answers that it makes for them. The
     * others wait here, so that a call of another sender has no more than these before it. */
    static constexpr std::size_t given_at_most = 16;

    struct Call {
        std::uint32_t serial;
        bool wanted;
        std::size_t length;
    };
    /* What a sender has waiting. */
    struct Share {
        std::vector<Call> calls;
        std::size_t bytes = 0;
        std::size_t n_given = 0;
        std::deque<GuardText> kept; /* messages whose turn is still to come */
    };

    /* Enters a call of @length bytes. A sender that has none waiting may have one of any length.
     * Returns nothing, and enters nothing, when its share is used up; else the share, which stays
     * until the call is struck out. */
    Share *enter(std::string_view sender, std::uint32_t serial, std::size_t length, bool wanted);
    /* Whether GDBus gets the message of an entered call at once; it is kept otherwise. */
    static bool give(Share &share, std::string_view message);
    /* Strikes out the call that is answered, and has the sender's next one take its turn. Whether
     * its sender wanted an answer; so it is too for a call that was never entered. */
    bool strike(std::string_view sender, std::uint32_t serial);

    /* The kept messages whose turn has come. */
    bool has_turns() const { return !turns_.empty(); }
    GuardText take_turns() { return std::exchange(turns_, {}); }

    std::size_t n_senders() const { return senders_.size(); }

  private:
    void end_turn(Share &share);

    std::map<std::string, Share, std::less<>> senders_;
    GuardText turns_;
};

} // namespace zolv
