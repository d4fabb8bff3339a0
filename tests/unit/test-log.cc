#include "capture.h"
#include "core/tvl-log-internal.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/* Lines go to standard output, as under the service manager. */
class Log : public testing::Test {
  protected:
    void SetUp() override
    {
        g_setenv("INVOCATION_ID", "0123", TRUE);
        ASSERT_EQ(tvl_log_setup(nullptr), 0);
        tvl_log_set_level("INFO");
    }
    void TearDown() override { g_unsetenv("INVOCATION_ID"); }
};

TEST_F(Log, WritesTheTagOfEachLevelInSevenCharactersAndABlank)
{
    tvl_log_set_level("DEBUG");
    Capture out(STDOUT_FILENO);
    _tvl_log(TVL_LOG_DEBUG, "[Manager] %s", "a");
    _tvl_log(TVL_LOG_INFO, "[Manager] %s", "b");
    _tvl_log(TVL_LOG_WARN, "[Manager] %s", "c");
    _tvl_log(TVL_LOG_ERROR, "[Manager] %s", "d");
    EXPECT_EQ(out.text(), "<debug> [Manager] a\n"
                          "<info>  [Manager] b\n"
                          "<warn>  [Manager] c\n"
                          "<error> [Manager] d\n");
}

TEST_F(Log, DropsWhatIsBelowTheThreshold)
{
    const std::vector<std::pair<const char *, std::string>> cases = {
        {"DEBUG", "<debug> 1\n<info>  2\n<warn>  3\n<error> 4\n"},
        {"INFO", "<info>  2\n<warn>  3\n<error> 4\n"},
        {"WARN", "<warn>  3\n<error> 4\n"},
        {"ERR", "<error> 4\n"},
    };

    for (const auto &[name, expected] : cases) {
        EXPECT_EQ(tvl_log_set_level(name), 0);
        Capture out(STDOUT_FILENO);
        for (int level = TVL_LOG_DEBUG; level <= TVL_LOG_ERROR; level++)
            _tvl_log(level, "%d", level);
        EXPECT_EQ(out.text(), expected) << name;
    }
}

TEST_F(Log, TakesLevelNamesInAnyLetterCase)
{
    EXPECT_EQ(tvl_log_set_level("warn"), 0);
    EXPECT_FALSE(zolv::log_enabled(TVL_LOG_INFO));
    EXPECT_TRUE(zolv::log_enabled(TVL_LOG_WARN));
}

TEST_F(Log, KeepsTheThresholdAtAnUnknownLevelName)
{
    tvl_log_set_level("WARN");
    for (const char *name : {"ERROR", "verbose", "", "INFO "}) {
        EXPECT_EQ(tvl_log_set_level(name), -1) << name;
        EXPECT_FALSE(zolv::log_enabled(TVL_LOG_INFO)) << name;
        EXPECT_TRUE(zolv::log_enabled(TVL_LOG_WARN)) << name;
    }
}

TEST_F(Log, KeepsANewlineOfTheMessage)
{
    Capture out(STDOUT_FILENO);
    _tvl_log(TVL_LOG_INFO, "[Manager] SoC '%s'\n", "Other");
    EXPECT_EQ(out.text(), "<info>  [Manager] SoC 'Other'\n\n");
}

TEST_F(Log, WritesLinesLongerThanTheBufferWhole)
{
    const std::string text(5000, 'x');

    for (int i = 0; i < 2; i++) {
        Capture out(STDOUT_FILENO);
        _tvl_log(TVL_LOG_INFO, "%s.", text.c_str());
        EXPECT_EQ(out.text(), "<info>  " + text + ".\n");
    }
}

TEST_F(Log, DiesOfALevelAboveError)
{
    EXPECT_DEATH(_tvl_log(5, "x"), "log_level_description");
}

TEST_F(Log, DropsALevelBelowDebugBeforeItIsLookedAt)
{
    Capture out(STDOUT_FILENO);
    _tvl_log(0, "x");
    EXPECT_EQ(out.text(), "");
}

TEST_F(Log, PassesOnGLibMessagesOfEveryDomainAsTheyStand)
{
    tvl_log_set_level("ERR");
    Capture out(STDOUT_FILENO);
    g_log(nullptr, G_LOG_LEVEL_WARNING, "no domain");
    g_log("GLib-GIO", G_LOG_LEVEL_WARNING, "of a library\n");
    g_log("Other", G_LOG_LEVEL_DEBUG, "debug");
    g_log_structured("Third", G_LOG_LEVEL_MESSAGE, "MESSAGE", "structured %d", 3);
    EXPECT_EQ(out.text(), "no domain"
                          "of a library\n"
                          "debug"
                          "structured 3");
}

TEST_F(Log, SyslogAndStandardErrorReceiveTheSameText)
{
    g_unsetenv("INVOCATION_ID");
    ASSERT_EQ(tvl_log_setup(nullptr), 0);
    Capture out(STDOUT_FILENO);
    Capture err(STDERR_FILENO);
    _tvl_log(TVL_LOG_WARN, "[Manager] to syslog");
    const std::string echoed = err.text();
    EXPECT_EQ(out.text(), "");
    const std::string line = "]: <warn>  [Manager] to syslog\n";
    ASSERT_GE(echoed.size(), line.size());
    EXPECT_EQ(echoed.substr(echoed.size() - line.size()), line);
    tvl_log_shutdown();
}

/* What the system's log receives, by a socket in the place of its own. In a process of its own,
 * whose /dev nobody else sees; it ends with 0 when all lines came as they should. */
void
check_syslog()
{
    const std::pair<GLogLevelFlags, int> glib_levels[] = {
        {G_LOG_LEVEL_CRITICAL, LOG_ERR},   {G_LOG_LEVEL_WARNING, LOG_WARNING},
        {G_LOG_LEVEL_MESSAGE, LOG_NOTICE}, {G_LOG_LEVEL_INFO, LOG_INFO},
        {G_LOG_LEVEL_DEBUG, LOG_DEBUG},
    };
    const int priorities[] = {LOG_DEBUG, LOG_INFO, LOG_WARNING, LOG_ERR};
    const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address{AF_UNIX, "/dev/log"};
    const auto received = [log](int priority, const std::string &text) {
        char line[1024] = {};
        const ssize_t length = recv(log, line, sizeof line - 1, MSG_DONTWAIT);
        const std::string begin = "<" + std::to_string(LOG_DAEMON | priority) + ">";
        const std::string got(line, length < 0 ? 0 : static_cast<std::size_t>(length));
        return got.starts_with(begin) && got.ends_with("]: " + text);
    };

    if (unshare((geteuid() != 0 ? CLONE_NEWUSER : 0) | CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/dev", "tmpfs", 0, nullptr) != 0 ||
        bind(log, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        _exit(2);
    g_unsetenv("INVOCATION_ID");
    tvl_log_setup(nullptr);
    tvl_log_set_level("DEBUG");
    const char *tags[] = {"<debug>", "<info> ", "<warn> ", "<error>"};
    for (int level = TVL_LOG_DEBUG; level <= TVL_LOG_ERROR; level++) {
        _tvl_log(level, "[Manager] line");
        if (!received(priorities[level - 1], std::string(tags[level - 1]) + " [Manager] line\n"))
            _exit(3);
    }
    for (const auto &[level, priority] : glib_levels) {
        g_log("Library", level, "message");
        if (!received(priority, "message"))
            _exit(4);
    }
    /* An error ends the process, but is logged before. */
    if (fork() == 0) {
        g_log("Library", G_LOG_LEVEL_ERROR, "the last message");
        _exit(0);
    }
    wait(nullptr);
    _exit(received(LOG_CRIT, "the last message") ? 0 : 5);
}

TEST_F(Log, SyslogReceivesThePriorityOfEachLevelAndTheDaemonFacility)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(check_syslog(), testing::ExitedWithCode(0), "");
}

/* Standard output is a pipe that holds one line and whose reader is slow: each line waits in its
 * write while the other threads would like to make theirs. */
TEST_F(Log, ThreadsNeverMixTheirLines)
{
    constexpr std::size_t lines = 25;
    constexpr std::size_t length = 3000;
    const std::string letters = "abcd";
    std::array<int, 2> ends{};
    std::string received;
    std::vector<std::thread> writers;

    ASSERT_EQ(pipe(ends.data()), 0);
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    fflush(nullptr);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    std::thread reader([&received, fd = ends[0]] {
        std::array<char, 1000> part{};
        for (ssize_t n_read; (n_read = read(fd, part.data(), part.size())) > 0; usleep(100))
            received.append(part.data(), static_cast<std::size_t>(n_read));
    });
    for (const char letter : letters)
        writers.emplace_back([text = std::string(length, letter)] {
            for (std::size_t i = 0; i < lines; i++)
                _tvl_log(TVL_LOG_INFO, "%s", text.c_str());
        });
    for (std::thread &writer : writers)
        writer.join();
    dup2(saved, STDOUT_FILENO); /* the end of the file for the reader */
    close(saved);
    reader.join();
    close(ends[0]);

    std::map<std::string, std::size_t> count;
    std::istringstream stream(received);
    for (std::string line; std::getline(stream, line);)
        count[line]++;
    EXPECT_EQ(count.size(), letters.size());
    for (const char letter : letters)
        EXPECT_EQ(count["<info>  " + std::string(length, letter)], lines) << letter;
}

TEST(LogFile, IsAppendedToAndCreatedWithItsMode)
{
    g_autofree char *folder = g_dir_make_tmp("log-XXXXXX", nullptr);
    const std::string path = std::string(folder) + "/log";
    const mode_t old_mask = umask(0);

    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(tvl_log_setup(path.c_str()), 0);
        tvl_log_set_level("INFO");
        _tvl_log(TVL_LOG_INFO, "line %d", i);
        tvl_log_shutdown();
    }
    umask(old_mask);
    g_autofree char *content = nullptr;
    ASSERT_TRUE(g_file_get_contents(path.c_str(), &content, nullptr, nullptr));
    EXPECT_STREQ(content, "<info>  line 0\n<info>  line 1\n");
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0660U);
    unlink(path.c_str());
    rmdir(folder);
}

TEST(LogFile, ThatCannotBeOpenedIsRefused)
{
    EXPECT_EQ(tvl_log_setup("/proc/no/such/folder/log"), -1);
}

} // namespace
