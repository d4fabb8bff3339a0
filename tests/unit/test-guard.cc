#include "core/zolv-raii.h"
#include "guard/zolv-guard-streams.h"
#include "guard/zolv-guard.h"

#include <array>
#include <cerrno>
#include <functional>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>

using namespace zolv;

namespace {

using MessagePtr = ObjectPtr<GDBusMessage>;

constexpr auto little = G_DBUS_MESSAGE_BYTE_ORDER_LITTLE_ENDIAN;
constexpr auto big = G_DBUS_MESSAGE_BYTE_ORDER_BIG_ENDIAN;

MessageBytes
bytes_of(const std::string &text)
{
    return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

/* What the bus would send: GLib builds it, and this says from whom it is. */
struct Sent {
    const char *sender = ":1.7";
    guint32 serial = 5;
    GVariant *body = nullptr;
    bool answer = true;
    GDBusMessageByteOrder order = little;

    std::string call(const char *member = "GetState") const
    {
        return blob(
            MessagePtr(g_dbus_message_new_method_call("com.tarvel.Perimond", "/a", "b.c", member)));
    }
    std::string signal(const char *destination) const
    {
        MessagePtr message(g_dbus_message_new_signal("/a", "b.c", "Rain"));
        g_dbus_message_set_destination(message.get(), destination);
        return blob(message);
    }
    std::string reply_to(guint32 call, const char *destination) const
    {
        MessagePtr message(g_dbus_message_new());
        g_dbus_message_set_message_type(message.get(), G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
        g_dbus_message_set_reply_serial(message.get(), call);
        g_dbus_message_set_destination(message.get(), destination);
        return blob(message);
    }
    std::string blob(const MessagePtr &message) const
    {
        gsize size = 0;

        g_dbus_message_set_sender(message.get(), sender);
        g_dbus_message_set_serial(message.get(), serial);
        g_dbus_message_set_byte_order(message.get(), order);
        if (!answer)
            g_dbus_message_set_flags(message.get(), G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
        if (body != nullptr)
            g_dbus_message_set_body(message.get(), body);
        const std::unique_ptr<guchar, Free<g_free>> data(
            g_dbus_message_to_blob(message.get(), &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
        return {reinterpret_cast<const char *>(data.get()), size};
    }
};

/* As GLib reads it. */
MessagePtr
parsed(std::string blob)
{
    return MessagePtr(g_dbus_message_new_from_blob(reinterpret_cast<guchar *>(blob.data()),
                                                   blob.size(), G_DBUS_CAPABILITY_FLAGS_NONE,
                                                   nullptr));
}

/* A call with the arguments a(au)v whose array holds an empty array behind one of one number:
 * GLib takes the end of the outer array for nearer than it is. */
std::string
unreadable_call()
{
    using namespace std::string_literals;
    const std::string body = "\x0c\0\0\0\0\0\0\0"s /* 12 bytes behind the padding */
                             "\x04\0\0\0\x01\0\0\0"s
                             "\0\0\0\0"s
                             "\x01s\0\0\x01\0\0\0x\0"s;
    const std::string message = Sent{.body = g_variant_new_parsed("(@a(au) [], <'x'>)")}.call();
    std::string head = message.substr(0, read_frame(bytes_of(message))->head);
    const auto length = static_cast<std::uint32_t>(body.size());

    memcpy(head.data() + 4, &length, sizeof length);
    return head + body;
}

MessageHead
call_of(std::uint32_t serial)
{
    MessageHead call;

    call.sender = ":1.7";
    call.serial = serial;
    return call;
}

GVariant *
text_of(std::size_t length)
{
    return g_variant_new("(s)", std::string(length, 'x').c_str());
}

GVariant *
array_of(std::size_t length)
{
    const std::string bytes(length, 'x');

    return g_variant_new(
        "(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

// -- the bytes of a message

class MessageTest : public testing::TestWithParam<GDBusMessageByteOrder> {};

TEST_P(MessageTest, TellsItsFields)
{
    Sent sent;
    sent.order = GetParam();
    sent.body = g_variant_new("(su)", "text", 7);
    const std::string message = sent.call();
    const auto frame = read_frame(bytes_of(message));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->total, message.size());
    const auto head = read_head(bytes_of(message).first(frame->head));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->type, MessageType::call);
    EXPECT_EQ(head->serial, 5U);
    EXPECT_EQ(head->sender, ":1.7");
    EXPECT_EQ(head->destination, "com.tarvel.Perimond");
    EXPECT_EQ(head->signature, "su");
    EXPECT_TRUE(head->wants_reply);
}

TEST_P(MessageTest, TellsTheCallThatItAnswers)
{
    Sent sent;
    sent.order = GetParam();
    const std::string message = sent.reply_to(0x01020304, ":1.9");
    const auto head = read_head(bytes_of(message));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->type, MessageType::method_return);
    EXPECT_EQ(head->reply_serial, 0x01020304U);
    EXPECT_EQ(head->destination, ":1.9");
}

TEST_P(MessageTest, IsEmptiedToBytesThatGLibReads)
{
    Sent sent;
    sent.order = GetParam();
    sent.body = g_variant_new("(sau)", "text", nullptr);
    const std::string message = sent.call();
    const auto frame = read_frame(bytes_of(message));
    const MessagePtr read = parsed(emptied(bytes_of(message).first(frame->head)));
    ASSERT_TRUE(read);
    EXPECT_STREQ(g_dbus_message_get_signature(read.get()), "yyy");
    EXPECT_STREQ(g_dbus_message_get_member(read.get()), "GetState");
    EXPECT_EQ(g_dbus_message_get_serial(read.get()), 5U);
}

INSTANTIATE_TEST_SUITE_P(Orders, MessageTest, testing::Values(little, big));

TEST(Message, IsNoneWithAnotherByteOrder)
{
    std::string message = Sent().call();
    message[0] = 'x';
    EXPECT_FALSE(read_frame(bytes_of(message)));
}

TEST(Message, IsNoneAboveTheLengthsOfTheProtocol)
{
    for (const std::size_t place : {4, 12}) {
        std::string message = Sent().call();
        memset(message.data() + place, 0xff, 4);
        EXPECT_FALSE(read_frame(bytes_of(message)));
    }
}

TEST(Message, HasNoHeaderThatEndsBeforeItsFieldsDo)
{
    const std::string message = Sent().call();
    const auto frame = read_frame(bytes_of(message));
    EXPECT_FALSE(read_head(bytes_of(message).first(frame->head - 8)));
    /* Every shorter list of fields ends within one, or between two. */
    for (std::uint32_t length = 1; length < frame->head - frame_size - 8; length++) {
        std::string shorter = message;
        memcpy(shorter.data() + 12, &length, sizeof length);
        const auto head = read_head(bytes_of(shorter));
        EXPECT_TRUE(!head || head->signature.empty());
    }
}

TEST(Message, HasNoHeaderWithAFieldThatIsAContainer)
{
    std::string message = Sent().call();
    message[frame_size + 2] = 'v';
    EXPECT_FALSE(read_head(bytes_of(message)));
}

TEST(Message, HasASecretWhereAMethodTakesAPassphrase)
{
    for (const char *member : {"InitializeLUKS", "RemapLUKS"}) {
        const std::string call = Sent().call(member);
        EXPECT_TRUE(has_secret(*read_head(bytes_of(call))));
    }
    EXPECT_FALSE(has_secret(*read_head(bytes_of(Sent().call()))));
    EXPECT_FALSE(has_secret(*read_head(bytes_of(Sent().signal(nullptr)))));
}

TEST(Message, ThatFillsAnswersNothingAndIsAsLongAsItIsToBe)
{
    for (const std::size_t total : {std::size_t{80}, std::size_t{81}, std::size_t{300000}}) {
        const std::string filling = filler(total);
        EXPECT_EQ(filling.size(), total);
        const MessagePtr message = parsed(filling);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(g_dbus_message_get_message_type(message.get()),
                  G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
        EXPECT_EQ(g_dbus_message_get_reply_serial(message.get()), 0xffffffff);
    }
    EXPECT_NE(parsed(filler(0)), nullptr);
}

TEST(Message, IsReadableAsGLibSays)
{
    Sent sent;
    sent.body = g_variant_new("(sau)", "text", nullptr);
    EXPECT_TRUE(is_readable(bytes_of(sent.call())));
    EXPECT_FALSE(is_readable(bytes_of(unreadable_call())));
}

TEST(Message, ThatRefusesACallIsAnErrorOfTheBus)
{
    const MessagePtr read = parsed(limits_exceeded(call_of(77)));
    ASSERT_TRUE(read);
    EXPECT_EQ(g_dbus_message_get_message_type(read.get()), G_DBUS_MESSAGE_TYPE_ERROR);
    EXPECT_STREQ(g_dbus_message_get_error_name(read.get()),
                 "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_STREQ(g_dbus_message_get_destination(read.get()), ":1.7");
    EXPECT_EQ(g_dbus_message_get_reply_serial(read.get()), 77U);
    EXPECT_STREQ(g_dbus_message_get_signature(read.get()), "s");
}

// -- the ledger

TEST(Ledger, HoldsSixtyFourCallsOfASender)
{
    GuardLedger ledger;
    for (std::uint32_t serial = 1; serial <= 64; serial++)
        EXPECT_TRUE(ledger.enter(":1.1", serial, 100, true));
    EXPECT_FALSE(ledger.enter(":1.1", 65, 100, true));
    EXPECT_TRUE(ledger.enter(":1.2", 65, 100, true));
    EXPECT_TRUE(ledger.strike(":1.1", 7));
    EXPECT_TRUE(ledger.enter(":1.1", 65, 100, true));
    EXPECT_FALSE(ledger.enter(":1.1", 66, 100, true));
}

TEST(Ledger, HoldsAQuarterOfAMebibyteOfASender)
{
    constexpr std::size_t limit = 256 << 10;
    GuardLedger ledger;
    EXPECT_TRUE(ledger.enter(":1.1", 1, limit - 100, true));
    EXPECT_TRUE(ledger.enter(":1.1", 2, 100, true));
    EXPECT_FALSE(ledger.enter(":1.1", 3, 1, true));
    ledger.strike(":1.1", 2);
    EXPECT_FALSE(ledger.enter(":1.1", 3, 101, true));
    EXPECT_TRUE(ledger.enter(":1.1", 3, 100, true));
}

TEST(Ledger, HoldsOneCallOfAnyLength)
{
    GuardLedger ledger;
    EXPECT_TRUE(ledger.enter(":1.1", 1, 1 << 20, true));
    EXPECT_FALSE(ledger.enter(":1.1", 2, 1, true));
}

TEST(Ledger, KnowsWhetherAnAnswerIsWanted)
{
    GuardLedger ledger;
    ledger.enter(":1.1", 1, 1, false);
    ledger.enter(":1.1", 2, 1, true);
    EXPECT_FALSE(ledger.strike(":1.1", 1));
    EXPECT_TRUE(ledger.strike(":1.1", 2));
    EXPECT_TRUE(ledger.strike(":1.1", 3));
    EXPECT_TRUE(ledger.strike(":1.2", 1));
}

TEST(Ledger, ForgetsSendersWhoseCallsAreAllAnswered)
{
    GuardLedger ledger;
    for (int i = 0; i < 1000; i++) {
        ledger.enter(":1." + std::to_string(i), 1, 1, true);
        ledger.strike(":1." + std::to_string(i), 1);
    }
    EXPECT_EQ(ledger.n_senders(), GuardLedger::idle_at_most);
}

TEST(Ledger, KeepsNoRoomForTheManyCallsOfASender)
{
    GuardLedger ledger;
    for (std::uint32_t serial = 1; serial <= GuardLedger::usual_calls + 1; serial++)
        ledger.enter(":1.1", serial, 1, true);
    for (std::uint32_t serial = 1; serial <= GuardLedger::usual_calls; serial++)
        ledger.strike(":1.1", serial);
    EXPECT_EQ(ledger.n_senders(), 1U);
    ledger.strike(":1.1", GuardLedger::usual_calls + 1);
    EXPECT_EQ(ledger.n_senders(), 0U);
}

// -- the judgement

Verdict
verdict_of(const std::string &message, GuardLedger &ledger)
{
    const auto frame = read_frame(bytes_of(message));
    return judge(*read_head(bytes_of(message).first(frame->head)), *frame, ledger).verdict;
}

Verdict
verdict_of(const std::string &message)
{
    GuardLedger ledger;
    return verdict_of(message, ledger);
}

TEST(Judgement, PassesWhatHasNoContainer)
{
    EXPECT_EQ(verdict_of(Sent().call()), Verdict::pass);
    EXPECT_EQ(verdict_of(Sent{.body = text_of(1000)}.call()), Verdict::pass);
    EXPECT_EQ(verdict_of(Sent().signal(nullptr)), Verdict::pass);
    EXPECT_EQ(verdict_of(Sent().reply_to(1, ":1.1")), Verdict::pass);
}

TEST(Judgement, HasContainersExamined)
{
    EXPECT_EQ(verdict_of(Sent{.body = array_of(10)}.call()), Verdict::examine);
    EXPECT_EQ(verdict_of(Sent{.body = g_variant_new("(v)", g_variant_new_int32(1))}.call()),
              Verdict::examine);
    EXPECT_EQ(verdict_of(Sent{.body = g_variant_new("((u))", 1)}.call()), Verdict::examine);
    EXPECT_EQ(verdict_of(Sent{.body = array_of(100000)}.signal(nullptr)), Verdict::examine);
    EXPECT_EQ(verdict_of(Sent{.body = array_of(10)}.reply_to(1, ":1.1")), Verdict::examine);
}

TEST(Judgement, EmptiesLongCalls)
{
    const std::size_t rest = Sent{.body = text_of(1)}.call().size() - 1;
    EXPECT_EQ(verdict_of(Sent{.body = text_of(call_at_most - rest)}.call()), Verdict::pass);
    EXPECT_EQ(verdict_of(Sent{.body = text_of(call_at_most - rest + 1)}.call()), Verdict::empty);
    const std::size_t array_rest = Sent{.body = array_of(1)}.call().size() - 1;
    EXPECT_EQ(verdict_of(Sent{.body = array_of(containers_at_most - array_rest)}.call()),
              Verdict::examine);
    EXPECT_EQ(verdict_of(Sent{.body = array_of(containers_at_most - array_rest + 1)}.call()),
              Verdict::empty);
}

TEST(Judgement, DropsSignalsToOneReceiverUnlessTheyAreTheBuss)
{
    EXPECT_EQ(verdict_of(Sent().signal(":1.1")), Verdict::drop);
    EXPECT_EQ(verdict_of(Sent{.sender = "org.freedesktop.DBus"}.signal(":1.1")), Verdict::pass);
}

TEST(Judgement, DropsMessagesOfUnknownTypes)
{
    for (const char type : {0, 5, 255}) {
        std::string message = Sent().call();
        message[1] = type;
        EXPECT_EQ(verdict_of(message), Verdict::drop);
    }
}

TEST(Judgement, RefusesOrDropsWhatIsTooMuch)
{
    GuardLedger ledger;
    for (int i = 0; i < 64; i++)
        EXPECT_EQ(verdict_of(Sent().call(), ledger), Verdict::pass);
    EXPECT_EQ(verdict_of(Sent().call(), ledger), Verdict::refuse);
    EXPECT_EQ(verdict_of(Sent{.answer = false}.call(), ledger), Verdict::drop);
    EXPECT_EQ(verdict_of(Sent{.sender = ":1.8"}.call(), ledger), Verdict::pass);
}

// -- both directions

/* The guard on one end of a pair of sockets, the bus on the other. */
class GuardTest : public testing::Test {
  protected:
    GuardTest()
    {
        std::array<int, 2> pair{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
        bus_.reset(pair[0]);
        own_.reset(pair[1]);
        guard_ = std::make_unique<Guard>(own_.get());
    }

    void from_bus(const std::string &data) { send_all(data); }

    void send_all(const std::string &data)
    {
        ASSERT_EQ(send(bus_.get(), data.data(), data.size(), MSG_DONTWAIT),
                  static_cast<ssize_t>(data.size()));
    }

    /* All that GDBus would get now. */
    std::string received(std::size_t size = 4096)
    {
        std::string data;
        std::string part(size, '\0');
        ssize_t length = 0;
        while ((length = guard_->inlet.read(reinterpret_cast<std::uint8_t *>(part.data()),
                                            part.size())) > 0)
            data.append(part, 0, static_cast<std::size_t>(length));
        last_ = length < 0 ? errno : 0;
        return data;
    }

    std::string at_bus()
    {
        const ssize_t length = recv(bus_.get(), room_.data(), room_.size(), MSG_DONTWAIT);
        return room_.substr(0, length > 0 ? static_cast<std::size_t>(length) : 0);
    }

    ssize_t write(const std::string &data) { return guard_->outlet.write(bytes_of(data)); }

    UniqueFd bus_;
    UniqueFd own_;
    std::unique_ptr<Guard> guard_;
    std::string room_ = std::string(1 << 20, '\0'); /* once: a sanitizer marks each byte */
    int last_ = 0;                                  /* how the last reading ended */
};

TEST_F(GuardTest, PassesMessagesUnchanged)
{
    const std::string messages = Sent().call() + Sent{.body = array_of(10)}.call() +
                                 Sent{.order = big}.reply_to(3, ":1.1") + Sent().signal(nullptr);
    from_bus(messages);
    EXPECT_EQ(received(), messages);
    EXPECT_EQ(last_, EAGAIN);
}

TEST_F(GuardTest, PassesMessagesThatComeByteByByte)
{
    const std::string messages = Sent().call() + Sent{.body = array_of(10)}.call();
    std::string seen;
    for (const char byte : messages + unreadable_call()) {
        from_bus(std::string(1, byte));
        seen += received(1);
        EXPECT_EQ(last_, EAGAIN);
    }
    ASSERT_GT(seen.size(), messages.size());
    EXPECT_EQ(seen.substr(0, messages.size()), messages);
    EXPECT_STREQ(g_dbus_message_get_signature(parsed(seen.substr(messages.size())).get()),
                 "yyyyyy");
}

TEST_F(GuardTest, PassesALongMessageAndIsSmallAgain)
{
    const std::string message = Sent{.body = text_of(100000)}.call();
    from_bus(message + Sent{.serial = 6}.call());
    EXPECT_EQ(received(), message + Sent{.serial = 6}.call());
}

TEST_F(GuardTest, HasEachMessageWithAPassphraseReadOver)
{
    std::string expected;
    for (guint32 serial = 1; serial <= GuardLedger::given_at_most + 1; serial++) {
        const std::string call =
            Sent{.serial = serial, .body = text_of(std::size_t{serial} * 100)}.call("RemapLUKS");
        from_bus(call);
        expected += call + filler(call.size());
    }
    std::string seen = received();
    EXPECT_TRUE(expected.starts_with(seen));
    ASSERT_GT(write(Sent{.sender = nullptr}.reply_to(1, ":1.7")), 0);
    seen += received();
    EXPECT_EQ(seen, expected);
}

TEST_F(GuardTest, KeepsNothingOfWhatGDBusHasWhileAFloodGoesOn)
{
    std::string part(4096, '\0');
    auto *data = reinterpret_cast<std::uint8_t *>(part.data());

    from_bus(Sent{.serial = 1}.call());
    for (guint32 serial = 2; serial <= 3000; serial++) {
        from_bus(Sent{.serial = serial}.call());
        ASSERT_GT(guard_->inlet.read(data, part.size()), 0);
        ASSERT_GT(write(Sent{.sender = nullptr}.reply_to(serial - 1, ":1.7")), 0);
        ASSERT_NE(at_bus(), "");
    }
    EXPECT_LT(guard_->inlet.held(), 32U << 10U);
}

TEST_F(GuardTest, AsksForAnAnswerToEachCall)
{
    from_bus(Sent{.answer = false}.call());
    EXPECT_EQ(received(), Sent().call());
}

TEST_F(GuardTest, EmptiesWhatCannotBeRead)
{
    from_bus(unreadable_call() + Sent{.serial = 6}.call());
    const std::string seen = received();
    const MessagePtr first = parsed(seen.substr(0, read_frame(bytes_of(seen))->total));
    EXPECT_STREQ(g_dbus_message_get_signature(first.get()), "yyyyyy");
    EXPECT_TRUE(seen.ends_with(Sent{.serial = 6}.call()));
}

TEST_F(GuardTest, DropsWhatItDrops)
{
    from_bus(Sent().signal(":1.1") + Sent{.serial = 6}.call());
    EXPECT_EQ(received(), Sent{.serial = 6}.call());
}

TEST_F(GuardTest, DropsAMessageWhoseHeaderIsLongerThanAnyNeeds)
{
    MessagePtr message(g_dbus_message_new_method_call(
        nullptr, ("/" + std::string(head_at_most, 'x')).c_str(), "b.c", "D"));
    from_bus(Sent().blob(message) + Sent{.serial = 6}.call());
    EXPECT_EQ(received(), Sent{.serial = 6}.call());
    EXPECT_EQ(guard_->ledger.n_senders(), 1U);
}

TEST_F(GuardTest, EndsWithTheStream)
{
    from_bus(Sent().call() + Sent().call().substr(0, 20));
    bus_.reset();
    EXPECT_EQ(received(), Sent().call());
    EXPECT_EQ(last_, 0);
}

TEST_F(GuardTest, FailsOnWhatIsNoMessage)
{
    from_bus(std::string(16, 'x'));
    EXPECT_EQ(received(), "");
    EXPECT_EQ(last_, EBADMSG);
}

TEST_F(GuardTest, LetsOthersHaveTheirTurnWhileItThrowsMuchAway)
{
    int size = 4 << 20;
    setsockopt(bus_.get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    std::string data;
    const std::string dropped = Sent{.body = text_of(60000)}.signal(":1.1");
    while (send(bus_.get(), dropped.data(), dropped.size(), MSG_DONTWAIT) ==
           static_cast<ssize_t>(dropped.size()))
        data += dropped;
    if (data.size() < 300000)
        GTEST_FAIL() << "the socket holds " << data.size() << " bytes";
    EXPECT_EQ(received(), "");
    EXPECT_EQ(last_, EAGAIN);
    char byte = 0;
    EXPECT_EQ(recv(own_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT), 1);
}

TEST_F(GuardTest, AnswersInPlaceOfTheDaemonWhereThereIsNoRoom)
{
    for (guint32 serial = 1; serial <= 66; serial++)
        from_bus(Sent{.serial = serial, .answer = serial != 65}.call());
    received();
    EXPECT_EQ(at_bus(), limits_exceeded(call_of(66)));
}

TEST_F(GuardTest, HasRoomAgainWhenTheDaemonAnswers)
{
    for (guint32 serial = 1; serial <= 64; serial++)
        from_bus(Sent{.serial = serial}.call());
    received();
    const std::string reply = Sent{.sender = nullptr}.reply_to(3, ":1.7");
    EXPECT_EQ(write(reply), static_cast<ssize_t>(reply.size()));
    EXPECT_EQ(at_bus(), reply);
    from_bus(Sent{.serial = 70}.call());
    EXPECT_EQ(received(), Sent{.serial = 17}.call()) << "the sender's next one";
    from_bus(Sent{.serial = 71}.call());
    EXPECT_EQ(received(), "");
    EXPECT_EQ(at_bus(), limits_exceeded(call_of(71)));
}

TEST_F(GuardTest, LetsOthersGoBeforeTheManyCallsOfOneSender)
{
    for (guint32 serial = 1; serial <= 40; serial++)
        from_bus(Sent{.serial = serial}.call());
    const std::string other = Sent{.sender = ":1.8", .serial = 3}.call();
    from_bus(other);
    const std::string seen = received();
    ASSERT_EQ(seen.size(), 17 * Sent().call().size());
    EXPECT_EQ(seen.substr(16 * Sent().call().size()), other);
}

TEST_F(GuardTest, PassesAllCallsOfASenderInTheirOrder)
{
    std::string calls;
    for (guint32 serial = 1; serial <= 40; serial++)
        calls += Sent{.serial = serial, .body = serial == 30 ? array_of(5000) : nullptr}.call();
    from_bus(calls);
    std::string seen = received();
    for (guint32 serial = 1; serial <= 40; serial++) {
        write(Sent{.sender = nullptr}.reply_to(serial, ":1.7"));
        seen += received();
    }
    for (guint32 serial = 1; serial <= 40; serial++) {
        const auto frame = read_frame(bytes_of(seen));
        ASSERT_TRUE(frame);
        EXPECT_EQ(read_head(bytes_of(seen).first(frame->head))->serial, serial);
        seen.erase(0, frame->total);
    }
    EXPECT_EQ(seen, "");
}

TEST_F(GuardTest, SwallowsAnAnswerThatNobodyWants)
{
    from_bus(Sent{.serial = 3, .answer = false}.call());
    received();
    const std::string reply = Sent{.sender = nullptr}.reply_to(3, ":1.7");
    EXPECT_EQ(write(reply), static_cast<ssize_t>(reply.size()));
    EXPECT_EQ(at_bus(), "");
    EXPECT_TRUE(guard_->ledger.strike(":1.7", 3)) << "it was struck out";
    const std::string signal = Sent{.sender = nullptr}.signal(nullptr);
    EXPECT_EQ(write(signal), static_cast<ssize_t>(signal.size()));
    EXPECT_EQ(at_bus(), signal);
}

TEST_F(GuardTest, PutsNoAnswerOfItsOwnIntoTheMiddleOfAnother)
{
    const std::string signal = Sent{.sender = nullptr, .body = text_of(2 << 20)}.signal(nullptr);
    const MessageHead call = call_of(9);
    std::size_t written = 0;
    std::string seen;
    while (written < signal.size()) {
        const ssize_t length = write(signal.substr(written));
        if (length < 0) {
            EXPECT_EQ(errno, EAGAIN);
            if (!guard_->outlet.has_rest())
                guard_->outlet.refuse(call);
            EXPECT_TRUE(guard_->outlet.has_rest());
            seen += at_bus();
        } else {
            written += static_cast<std::size_t>(length);
        }
    }
    while (guard_->outlet.has_rest()) {
        seen += at_bus();
        guard_->outlet.flush();
    }
    for (std::string part = at_bus(); !part.empty(); part = at_bus())
        seen += part;
    ASSERT_GT(seen.size(), signal.size());
    EXPECT_EQ(seen.substr(0, signal.size()), signal);
    const std::string rest = seen.substr(signal.size());
    EXPECT_TRUE(rest.ends_with(limits_exceeded(call)));
}

TEST_F(GuardTest, KeepsNoMoreAnswersOfItsOwnThanTheBusIsGivenTime)
{
    while (send(own_.get(), "x", 1, MSG_DONTWAIT) > 0)
        ;
    for (std::uint32_t serial = 1; serial <= 10000; serial++)
        guard_->outlet.refuse(call_of(serial));
    EXPECT_TRUE(guard_->outlet.has_rest());
    std::size_t length = 0;
    for (std::string part = at_bus(); !part.empty(); part = at_bus()) {
        length += part.size();
        guard_->outlet.flush();
    }
    EXPECT_FALSE(guard_->outlet.has_rest());
    EXPECT_LT(length, 1U << 20U);
}

// -- GDBus behind it

class StreamTest : public testing::Test {
  protected:
    StreamTest()
    {
        std::array<int, 2> pair{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
        bus_.reset(pair[0]);
        const ObjectPtr<GSocket> socket(g_socket_new_from_fd(pair[1], nullptr));
        const ObjectPtr<GSocketConnection> connection(
            g_socket_connection_factory_create_connection(socket.get()));
        const ObjectPtr<GIOStream> stream(guarded_stream_new(connection.get()));
        connection_.reset(g_dbus_connection_new_sync(
            stream.get(), nullptr, G_DBUS_CONNECTION_FLAGS_NONE, nullptr, nullptr, nullptr));
        EXPECT_TRUE(connection_);
    }

    ~StreamTest() override { shutdown(bus_.get(), SHUT_RDWR); }

    /* The next message that GDBus writes. */
    MessagePtr next()
    {
        std::string message(frame_size, '\0');
        /* GDBus answers from the main loop, too. */
        while (recv(bus_.get(), message.data(), 1, MSG_PEEK | MSG_DONTWAIT) < 0)
            g_main_context_iteration(nullptr, FALSE);
        EXPECT_EQ(recv(bus_.get(), message.data(), frame_size, MSG_WAITALL),
                  static_cast<ssize_t>(frame_size));
        const std::size_t rest = read_frame(bytes_of(message))->total - frame_size;
        message.resize(frame_size + rest);
        EXPECT_EQ(recv(bus_.get(), message.data() + frame_size, rest, MSG_WAITALL),
                  static_cast<ssize_t>(rest));
        return parsed(message);
    }

    void send_all(const std::string &data)
    {
        EXPECT_EQ(send(bus_.get(), data.data(), data.size(), 0), static_cast<ssize_t>(data.size()));
    }

    UniqueFd bus_;
    ObjectPtr<GDBusConnection> connection_;
};

TEST_F(StreamTest, AnswersWhatItCanRead)
{
    MessagePtr ping(
        g_dbus_message_new_method_call(nullptr, "/a", "org.freedesktop.DBus.Peer", "Ping"));
    send_all(Sent{.serial = 8}.blob(ping));
    const MessagePtr reply = next();
    EXPECT_EQ(g_dbus_message_get_message_type(reply.get()), G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
    EXPECT_EQ(g_dbus_message_get_reply_serial(reply.get()), 8U);
}

/* Nothing else comes from the bus that would have GDBus read on. */
TEST_F(StreamTest, AnswersTheCallsThatHadToWaitForTheirTurn)
{
    std::string calls;
    for (guint32 serial = 1; serial <= 60; serial++)
        calls += Sent{.serial = serial}.call();
    send_all(calls);
    for (guint32 serial = 1; serial <= 60; serial++)
        EXPECT_EQ(g_dbus_message_get_reply_serial(next().get()), serial);
}

TEST_F(StreamTest, AnswersWhatItCannotReadAndGoesOn)
{
    for (int i = 0; i < 3; i++) {
        send_all(unreadable_call());
        EXPECT_EQ(g_dbus_message_get_message_type(next().get()), G_DBUS_MESSAGE_TYPE_ERROR);
    }
    EXPECT_FALSE(g_dbus_connection_is_closed(connection_.get()));
}

TEST_F(StreamTest, WritesMoreThanTheSocketTakesAtOnce)
{
    const std::string text(4 << 20, 'x');
    EXPECT_TRUE(g_dbus_connection_emit_signal(connection_.get(), nullptr, "/a", "b.c", "Rain",
                                              g_variant_new("(s)", text.c_str()), nullptr));
    const char *read = nullptr;
    const MessagePtr signal = next();
    g_variant_get(g_dbus_message_get_body(signal.get()), "(&s)", &read);
    EXPECT_EQ(read, text);
}

TEST_F(StreamTest, IsClosedWithTheBus)
{
    bool closed = false;
    g_signal_connect_swapped(connection_.get(), "closed",
                             G_CALLBACK(+[](bool *seen) { *seen = true; }), &closed);
    bus_.reset();
    while (!closed)
        g_main_context_iteration(nullptr, TRUE);
    EXPECT_TRUE(g_dbus_connection_is_closed(connection_.get()));
}

} // namespace
