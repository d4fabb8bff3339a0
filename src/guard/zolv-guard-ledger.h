#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zolv {

/* The calls of each sender that are not answered yet. */
class GuardLedger {
  public:
    static constexpr std::size_t calls_at_most = 64;
    static constexpr std::size_t bytes_at_most = 256U << 10U;
    /* So many senders are remembered that have none waiting: a sender calls more than once, and
     * its entry is dear to make. */
    static constexpr std::size_t idle_at_most = 32;

    /* Enters a call of @length bytes. A sender that has none waiting may have one of any length.
     * Returns false, and enters nothing, when its share is used up. */
    bool enter(std::string_view sender, std::uint32_t serial, std::size_t length, bool wanted);
    /* Strikes out the call that is answered. Whether its sender wanted an answer; so it is too for
     * a call that was never entered. */
    bool strike(std::string_view sender, std::uint32_t serial);

    std::size_t n_senders() const { return senders_.size(); }

  private:
    struct Call {
        std::uint32_t serial;
        bool wanted;
        std::size_t length;
    };
    struct Sender {
        std::vector<Call> calls;
        std::size_t bytes = 0;
    };

    std::map<std::string, Sender, std::less<>> senders_;
};

} // namespace zolv
