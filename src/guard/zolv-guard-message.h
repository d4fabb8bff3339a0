#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zolv {

/* The bytes of bus messages, as far as the guard looks at them. The bus has checked each one, yet
 * nothing here trusts a length that it reads. */

using MessageBytes = std::span<const std::uint8_t>;

enum class MessageType : std::uint8_t { call = 1, method_return = 2, error = 3, signal = 4 };

/* Every message begins with these bytes, which tell how long it is. */
inline constexpr std::size_t frame_size = 16;
inline constexpr std::size_t flags_at = 2;
inline constexpr std::uint8_t no_reply_expected = 1;

struct MessageFrame {
    std::size_t head = 0;  /* the frame, the fields of the header and their padding */
    std::size_t total = 0; /* with the body */
};

/* Nothing where the bytes are no message: @bytes are frame_size bytes at least. */
std::optional<MessageFrame> read_frame(MessageBytes bytes);

/* Texts point into the message; one that is not there is empty. */
struct MessageHead {
    MessageType type{};
    bool wants_reply = false;
    std::uint32_t serial = 0;
    std::uint32_t reply_serial = 0;
    std::string_view sender;
    std::string_view destination;
    std::string_view member;
    std::string_view signature;
};

/* Nothing where a field is neither a text nor a number; the bus lets none of these through. */
std::optional<MessageHead> read_head(MessageBytes head);

/* Whether the body has a container, the types in whose reading GLib can go wrong. */
bool has_container(const MessageHead &head);

/* Whether it is a call that brings a passphrase. */
bool has_secret(const MessageHead &head);

/* Whether GLib can read the whole message. */
bool is_readable(MessageBytes message);

/* The same message with bytes in place of its arguments: one zero for each character of the
 * signature. No method takes bytes, so GDBus itself answers such a call. */
std::string emptied(MessageBytes head);

/* A message of @total bytes that answers nothing: GDBus reads it over the one before it, and drops
 * it. A shorter one than it can be is as short as it can be. */
std::string filler(std::size_t total);

/* The answer to a call for which there is no room. */
std::string limits_exceeded(const MessageHead &call);

} // namespace zolv
