#include "core/zolv-text.h"

#include <glib.h>
#include <gtest/gtest.h>

using zolv::fit_text;
using namespace std::string_literals;

namespace {

TEST(Text, ThatIsFitStaysAsItIs)
{
    for (const char *text :
         {"", "plain", "C:\\path", "gr\u00fc\u00df", "\u65e5\u672c", "\U0001f600", "\u00a0", "~"})
        EXPECT_EQ(fit_text(text), text);
}

TEST(Text, NullIsEmpty)
{
    EXPECT_EQ(fit_text(nullptr), "");
}

TEST(Text, EachInvalidByteIsReplaced)
{
    EXPECT_EQ(fit_text("a\xff"
                       "b"),
              "a\ufffdb");
    EXPECT_EQ(fit_text("\xc3"), "\ufffd") << "cut sequence";
    EXPECT_EQ(fit_text("\xe2\x82"), "\ufffd\ufffd") << "cut sequence";
    EXPECT_EQ(fit_text("\xc0\xaf"), "\ufffd\ufffd") << "overlong";
    EXPECT_EQ(fit_text("\xed\xa0\x80"), "\ufffd\ufffd\ufffd") << "surrogate";
    EXPECT_EQ(fit_text("\xf5\x80\x80\x80"), "\ufffd\ufffd\ufffd\ufffd") << "beyond the last plane";
}

TEST(Text, ControlCharactersAreEscaped)
{
    EXPECT_EQ(fit_text("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(fit_text("\x01\x1b[0m\x7f"), "\\x01\\x1b[0m\\x7f");
    EXPECT_EQ(fit_text("\u0080\u0085\u009f"), "\\x80\\x85\\x9f");
    EXPECT_EQ(fit_text("a\0b"s), "a\\x00b");
}

TEST(Text, IsValidForEveryPairOfBytes)
{
    for (int first = 1; first < 256; first++) {
        for (int second = 1; second < 256; second++) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            const std::string fit = fit_text(bytes);
            ASSERT_TRUE(g_utf8_validate(fit.c_str(), -1, nullptr)) << first << " " << second;
            ASSERT_EQ(fit.find('\n'), std::string::npos);
        }
    }
}

std::string
cut(std::string text, std::size_t size)
{
    zolv::cut_text(text, size);
    return text;
}

TEST(Text, ThatIsTooLongIsCutAndMarked)
{
    EXPECT_EQ(cut("0123456789", 10), "0123456789");
    EXPECT_EQ(cut("0123456789x", 10), "01234[...]");
    EXPECT_EQ(cut(std::string(2000, 'x'), zolv::logged_at_most).size(), 1024U);
}

TEST(Text, IsCutBetweenTwoCharacters)
{
    EXPECT_EQ(cut("0123\u00e4-------", 10), "0123[...]");
    EXPECT_EQ(cut("012\u00e4-------", 10), "012\u00e4[...]");
    EXPECT_EQ(cut("01\U0001f600-------", 10), "01[...]");
    EXPECT_EQ(cut("0\U0001f600-------", 10), "0\U0001f600[...]");
}

} // namespace
