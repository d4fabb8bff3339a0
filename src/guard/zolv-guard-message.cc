#include "guard/zolv-guard-message.h"

#include "core/zolv-raii.h"

#include <bit>
#include <cstring>
#include <gio/gio.h>

namespace {

using zolv::frame_size;
using zolv::MessageBytes;
using zolv::MessageType;
using zolv::no_reply_expected;

enum Field : std::uint8_t {
    MEMBER = 3,
    ERROR_NAME = 4,
    REPLY_SERIAL = 5,
    DESTINATION = 6,
    SENDER = 7,
    SIGNATURE = 8,
};

constexpr std::size_t type_at = 1;
constexpr std::size_t body_length_at = 4;
constexpr std::size_t serial_at = 8;
constexpr std::size_t fields_length_at = 12;
/* The protocol's limits of a message and of an array. */
constexpr std::size_t message_at_most = 128U << 20U;
constexpr std::size_t array_at_most = 64U << 20U;

constexpr std::uint8_t native_order = std::endian::native == std::endian::little ? 'l' : 'B';

constexpr std::size_t
aligned(std::size_t place, std::size_t size)
{
    return (place + size - 1) / size * size;
}

std::uint32_t
number_at(MessageBytes bytes, std::size_t place)
{
    std::uint32_t number = 0;

    memcpy(&number, bytes.data() + place, sizeof number);
    return bytes[0] == native_order ? number : GUINT32_SWAP_LE_BE(number);
}

/* Size and alignment of a number; 0 for all other types. */
constexpr std::size_t
number_size(std::uint8_t type)
{
    switch (type) {
    case 'y':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'b':
    case 'i':
    case 'u':
        return 4;
    case 'd':
    case 't':
    case 'x':
        return 8;
    default:
        return 0;
    }
}

/* Reads the fields of a header one after the other. */
class FieldReader {
  public:
    explicit FieldReader(MessageBytes head)
        : head_(head), end_(frame_size + number_at(head, fields_length_at))
    {
    }

    std::uint8_t code = 0;
    std::string_view text;    /* of a text */
    std::uint32_t number = 0; /* of a number of four bytes */

    bool at_end() const { return place_ == end_; }

    /* Whether there was a field of a type that is understood. */
    bool next()
    {
        place_ = aligned(place_, 8);
        /* The code and the signature, which is the one character of a simple type. */
        if (!has(4) || head_[place_ + 1] != 1 || head_[place_ + 3] != 0)
            return false;
        code = head_[place_];
        const std::uint8_t type = head_[place_ + 2];
        place_ += 4;
        return type == 's' || type == 'o' ? read_text(4)
               : type == 'g'              ? read_text(1)
                                          : read_number(type);
    }

  private:
    bool has(std::size_t size) const { return place_ <= end_ && size <= end_ - place_; }

    /* @size is that of the length in front of the text; a zero follows it. */
    bool read_text(std::size_t size)
    {
        place_ = aligned(place_, size);
        if (!has(size))
            return false;
        const std::size_t length = size == 1 ? head_[place_] : number_at(head_, place_);
        place_ += size;
        if (!has(length + 1))
            return false;
        text = {reinterpret_cast<const char *>(head_.data()) + place_, length};
        place_ += length + 1;
        return true;
    }

    bool read_number(std::uint8_t type)
    {
        const std::size_t size = number_size(type);

        if (size == 0)
            return false;
        place_ = aligned(place_, size);
        if (!has(size))
            return false;
        number = size == 4 ? number_at(head_, place_) : 0;
        place_ += size;
        return true;
    }

    MessageBytes head_;
    std::size_t place_ = frame_size;
    std::size_t end_;
};

/* Builds a message in the computer's own byte order. */
class MessageWriter {
  public:
    explicit MessageWriter(MessageType type)
        : bytes_{static_cast<char>(native_order), static_cast<char>(type), no_reply_expected, 1}
    {
        bytes_.resize(frame_size);
    }

    void add_number(std::uint8_t code, std::uint32_t value)
    {
        begin_field(code, 'u');
        put(value);
    }

    void add_text(std::uint8_t code, std::string_view text)
    {
        begin_field(code, 's');
        put_text(text);
    }

    /* A body of one text ends the message. */
    std::string finish(std::uint32_t serial, std::string_view text)
    {
        begin_field(SIGNATURE, 'g');
        bytes_.append({1, 's', 0});
        put_at(fields_length_at, static_cast<std::uint32_t>(bytes_.size() - frame_size));
        bytes_.resize(aligned(bytes_.size(), 8));
        const std::size_t body = bytes_.size();
        put_text(text);
        put_at(body_length_at, static_cast<std::uint32_t>(bytes_.size() - body));
        put_at(serial_at, serial);
        return std::move(bytes_);
    }

  private:
    void begin_field(std::uint8_t code, char type)
    {
        bytes_.resize(aligned(bytes_.size(), 8));
        bytes_.append({static_cast<char>(code), 1, type, 0});
    }

    void put(std::uint32_t value)
    {
        bytes_.append(reinterpret_cast<const char *>(&value), sizeof value);
    }

    void put_at(std::size_t place, std::uint32_t value)
    {
        memcpy(bytes_.data() + place, &value, sizeof value);
    }

    void put_text(std::string_view text)
    {
        put(static_cast<std::uint32_t>(text.size()));
        bytes_.append(text).push_back('\0');
    }

    std::string bytes_;
};

} // namespace

std::optional<zolv::MessageFrame>
zolv::read_frame(MessageBytes bytes)
{
    if (bytes[0] != 'l' && bytes[0] != 'B')
        return {};
    const std::size_t fields = number_at(bytes, fields_length_at);
    const std::size_t body = number_at(bytes, body_length_at);
    const std::size_t head = frame_size + aligned(fields, 8);
    if (fields > array_at_most || body > message_at_most - head)
        return {};
    return MessageFrame{head, head + body};
}

std::optional<zolv::MessageHead>
zolv::read_head(MessageBytes bytes)
{
    if (bytes.size() < frame_size || frame_size + number_at(bytes, fields_length_at) > bytes.size())
        return {};
    MessageHead head;
    FieldReader field(bytes);
    head.type = static_cast<MessageType>(bytes[type_at]);
    head.wants_reply = (bytes[flags_at] & no_reply_expected) == 0;
    head.serial = number_at(bytes, serial_at);
    while (!field.at_end()) {
        if (!field.next())
            return {};
        if (field.code == REPLY_SERIAL)
            head.reply_serial = field.number;
        else if (field.code == DESTINATION)
            head.destination = field.text;
        else if (field.code == MEMBER)
            head.member = field.text;
        else if (field.code == SENDER)
            head.sender = field.text;
        else if (field.code == SIGNATURE)
            head.signature = field.text;
    }
    return head;
}

bool
zolv::has_container(const MessageHead &head)
{
    return head.signature.find_first_of("av(") != std::string_view::npos;
}

bool
zolv::has_secret(const MessageHead &head)
{
    return head.member == "InitializeLUKS" || head.member == "RemapLUKS";
}

bool
zolv::is_readable(MessageBytes message)
{
    /* GLib takes bytes that may be written to, and writes none. */
    const ObjectPtr<GDBusMessage> read(
        g_dbus_message_new_from_blob(const_cast<guchar *>(message.data()), message.size(),
                                     G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));

    return read != nullptr;
}

std::string
zolv::emptied(MessageBytes bytes)
{
    std::string message(bytes.begin(), bytes.end());
    const auto head = read_head(bytes);
    const std::string_view signature = head ? head->signature : std::string_view();
    auto body = static_cast<std::uint32_t>(signature.size());

    if (!signature.empty()) {
        const auto *start = reinterpret_cast<const char *>(bytes.data());
        message.replace(static_cast<std::size_t>(signature.data() - start), signature.size(),
                        signature.size(), 'y');
    }
    message.append(body, '\0');
    if (bytes[0] != native_order)
        body = GUINT32_SWAP_LE_BE(body);
    memcpy(message.data() + body_length_at, &body, sizeof body);
    return message;
}

std::string
zolv::filler(std::size_t total)
{
    const auto reply = [](std::size_t length) {
        /* GDBus counts its calls from 1 on and is never there. */
        constexpr std::uint32_t of_no_call = 0xffffffff;
        MessageWriter message(MessageType::method_return);

        message.add_number(REPLY_SERIAL, of_no_call);
        return message.finish(of_no_call, std::string(length, '.'));
    };
    const std::size_t least = reply(0).size();

    return reply(total > least ? total - least : 0);
}

std::string
zolv::limits_exceeded(const MessageHead &call)
{
    /* Nobody answers an error, so its number only has to be one. */
    constexpr std::uint32_t serial = 0xffffffff;
    MessageWriter error(MessageType::error);

    error.add_text(ERROR_NAME, "org.freedesktop.DBus.Error.LimitsExceeded");
    error.add_number(REPLY_SERIAL, call.serial);
    error.add_text(DESTINATION, call.sender);
    return error.finish(serial, "Too many calls of this client are waiting for their answers");
}
