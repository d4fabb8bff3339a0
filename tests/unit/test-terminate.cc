#include "core/zolv-terminate.h"

#include <csignal>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

/* What a failed check calls where _GLIBCXX_ASSERTIONS is defined, as it is for the daemon. */
namespace std {
[[noreturn]] void __glibcxx_assert_fail(const char *file, int line, const char *function,
                                        const char *condition) noexcept;
} // namespace std

namespace {

/* Nothing is caught beyond here, as in the product. */
void
ended(void (*action)()) noexcept
{
    zolv::tell_of_terminate();
    action();
}

TEST(Terminate, AnExceptionOfTheLibraryIsToldInOneLine)
{
    EXPECT_EXIT(ended([] { (void)std::string().at(1); }), testing::KilledBySignal(SIGABRT),
                "^Ended by the C\\+\\+ library: St12out_of_range: basic_string::at: [^\n]*\n$");
}

TEST(Terminate, AnExceptionWithoutATextIsToldByItsType)
{
    EXPECT_EXIT(ended([] { throw 1; }), testing::KilledBySignal(SIGABRT),
                "^Ended by the C\\+\\+ library: i\n$");
}

TEST(Terminate, AnEndWithoutAnExceptionIsTold)
{
    EXPECT_EXIT(ended(std::terminate), testing::KilledBySignal(SIGABRT),
                "^Ended by the C\\+\\+ library without an exception\n$");
}

TEST(Terminate, AFailedCheckOfTheLibraryIsToldInOneLine)
{
    EXPECT_EXIT(ended([] { std::__glibcxx_assert_fail("vector", 7, "at", "n < size"); }),
                testing::KilledBySignal(SIGABRT),
                "^vector:7: at: Assertion 'n < size' failed\\.\n$");
}

} // namespace
