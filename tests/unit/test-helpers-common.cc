#include "core/zolv-sigchld.h"
#include "helpers/zolv-helpers-common.h"
#include "private-world.h"
#include "tvl-log.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gio/gio.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string path = "/sys/test/file";

class Files : public PrivateWorld {
  protected:
    void expect_error(const std::string &text, GQuark domain = ZOLV_CORE_ERROR,
                      int code = ZOLV_CORE_ERROR_FAILED)
    {
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->message, text.c_str());
        EXPECT_TRUE(g_error_matches(error, domain, code)) << error->code;
        g_clear_error(&error);
    }
    void TearDown() override
    {
        EXPECT_EQ(error, nullptr) << error->message;
        g_clear_error(&error);
    }

    GError *error = nullptr;
    char buffer[64] = {};
};

using FilesDeathTest = Files;

TEST_F(Files, ReadTakesAtMostTheAskedLengthAndSetsNoTerminator)
{
    put_file(path, "abcdef");
    std::fill_n(buffer, sizeof buffer, 'x');
    EXPECT_TRUE(zolv_helper_read_file(path.c_str(), buffer, 3, &error));
    EXPECT_EQ(std::string(buffer, 5), "abcxx");
}

TEST_F(Files, ReadLogsWhatWasReadAndNotMore)
{
    put_file(path, "ab");
    std::fill_n(buffer, sizeof buffer, 'x');
    EXPECT_TRUE(zolv_helper_read_file(path.c_str(), buffer, sizeof buffer, &error));
    EXPECT_EQ(log(), Lines{"<debug> [Common] Read \"ab\" from file \"/sys/test/file\""});
}

TEST_F(Files, ReadLogsOneLineOfValidText)
{
    put_file(path, "a\xff\nb");
    EXPECT_TRUE(zolv_helper_read_file(path.c_str(), buffer, sizeof buffer, &error));
    EXPECT_EQ(log(), Lines{"<debug> [Common] Read \"a\ufffd\\nb\" from file \"/sys/test/file\""});
}

TEST_F(Files, ReadOfAMissingFileFails)
{
    EXPECT_FALSE(zolv_helper_read_file(path.c_str(), buffer, 1, &error));
    expect_error("open '/sys/test/file' failed: No such file or directory");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Files, APipeThatNobodyServesDoesNotHoldTheCaller)
{
    guchar byte = 0;

    put_file(path, "");
    unlink(path.c_str());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    alarm(20); /* ends the test, should it wait */
    EXPECT_FALSE(zolv_helper_read_file(path.c_str(), buffer, 1, &error));
    expect_error("read '/sys/test/file' failed: No data available");
    EXPECT_FALSE(zolv_helper_read_file_as_uchar(path.c_str(), &byte, 1, &error));
    expect_error("read '/sys/test/file' failed: No data available");
    EXPECT_FALSE(zolv_helper_write_file(path.c_str(), "1", 1, &error));
    expect_error("open '/sys/test/file' failed: No such device or address");
    alarm(0);
}

TEST_F(Files, ReadOfAnEmptyFileFails)
{
    put_file(path, "");
    EXPECT_FALSE(zolv_helper_read_file(path.c_str(), buffer, 1, &error));
    expect_error("read '/sys/test/file' failed: No data available");
}

TEST_F(Files, FailedReadFails)
{
    EXPECT_FALSE(zolv_helper_read_file("/sys/test", buffer, 1, &error));
    expect_error("read '/sys/test' failed: Is a directory");
}

TEST_F(Files, FailureMayBeUnwanted)
{
    EXPECT_FALSE(zolv_helper_read_file(path.c_str(), buffer, 1, nullptr));
    EXPECT_FALSE(zolv_helper_write_file(path.c_str(), "1", 1, nullptr));
}

TEST_F(Files, ErrorsAreValidText)
{
    EXPECT_FALSE(zolv_helper_read_file("/sys/test/\xff\n", buffer, 1, &error));
    expect_error("open '/sys/test/\ufffd\\n' failed: No such file or directory");
}

TEST_F(Files, NoFileDescriptorStaysOpen)
{
    const auto before = names_in("/proc/self/fd").size();
    guchar byte = 0;

    put_file(path, "1");
    zolv_helper_read_file(path.c_str(), buffer, 1, nullptr);
    zolv_helper_read_file("/sys/test", buffer, 1, nullptr);
    zolv_helper_write_file(path.c_str(), "1", 1, nullptr);
    zolv_helper_write_file("/dev/full", "1", 1, nullptr);
    zolv_helper_create_file(path.c_str(), nullptr);
    zolv_helper_create_file("/sys/test", nullptr);
    zolv_helper_read_file_as_uchar(path.c_str(), &byte, 1, nullptr);
    zolv_helper_read_file_as_uchar("/sys/test", &byte, 1, nullptr);
    zolv_helper_execute_file(path.c_str(), buffer, sizeof buffer, nullptr);
    EXPECT_EQ(names_in("/proc/self/fd").size(), before);
}

TEST_F(Files, BytesAreReadLikeText)
{
    guchar bytes[4] = {};

    put_file(path, std::string("\x01\x02\x00\x04\x05", 5));
    EXPECT_TRUE(zolv_helper_read_file_as_uchar(path.c_str(), bytes, sizeof bytes, &error));
    EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{1, 2, 0, 4}));
    EXPECT_EQ(log(), Lines{"<debug> [Common] Read \"\\x01\\x02\" from file \"/sys/test/file\""});

    put_file(path, "");
    EXPECT_FALSE(zolv_helper_read_file_as_uchar(path.c_str(), bytes, sizeof bytes, &error));
    expect_error("read '/sys/test/file' failed: No data available");
}

TEST_F(Files, BytesOfAMissingFileGiveAWarningAndNoError)
{
    guchar byte = 0;

    EXPECT_FALSE(zolv_helper_read_file_as_uchar(path.c_str(), &byte, 1, &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(log(), Lines{"<warn>  [Common] open '/sys/test/file' failed: "
                           "No such file or directory"});
}

TEST_F(Files, WriteNeitherTruncatesNorWritesMoreThanAsked)
{
    put_file(path, "abcdef");
    EXPECT_TRUE(zolv_helper_write_file(path.c_str(), "123", 2, &error));
    EXPECT_EQ(file_content(path), "12cdef");
    EXPECT_EQ(log(), Lines{"<debug> [Common] Write \"12\" to file \"/sys/test/file\""});
}

TEST_F(Files, WriteToAMissingFileFailsAndCreatesNothing)
{
    EXPECT_FALSE(zolv_helper_write_file(path.c_str(), "1", 1, &error));
    expect_error("open '/sys/test/file' failed: No such file or directory");
    EXPECT_FALSE(exists(path));
}

TEST_F(Files, RefusedWriteFails)
{
    EXPECT_FALSE(zolv_helper_write_file("/dev/full", "1", 1, &error));
    expect_error("write '/dev/full' failed: No space left on device");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Files, ShortWriteIsASuccess)
{
    struct rlimit old_limit {};
    getrlimit(RLIMIT_FSIZE, &old_limit);
    const struct rlimit two_bytes = {2, old_limit.rlim_max};

    put_file(path, "");
    tvl_log_set_level("ERR"); /* the log is subject to the limit */
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &two_bytes), 0);
    const gboolean written = zolv_helper_write_file(path.c_str(), "123", 3, &error);
    setrlimit(RLIMIT_FSIZE, &old_limit);
    EXPECT_TRUE(written);
    EXPECT_EQ(file_content(path), "12");
}

TEST_F(Files, CreatedFileIsReadableByItsOwnerOnly)
{
    EXPECT_TRUE(zolv_helper_create_file(path.c_str(), &error));
    EXPECT_EQ(mode_of(path), 0400U);
    EXPECT_EQ(log(), Lines{"<debug> [Common] Create file \"/sys/test/file\""});
}

TEST_F(Files, CreateLeavesAnExistingFileAlone)
{
    put_file(path, "abc");
    EXPECT_TRUE(zolv_helper_create_file(path.c_str(), &error));
    EXPECT_EQ(file_content(path), "abc");
    EXPECT_EQ(mode_of(path), 0644U);
}

TEST_F(Files, CreateInAMissingFolderFails)
{
    EXPECT_FALSE(zolv_helper_create_file("/sys/test/none/file", &error));
    expect_error("open '/sys/test/none/file' failed: No such file or directory");
}

TEST_F(Files, LinkHoldsItsTargetAsItIs)
{
    EXPECT_TRUE(zolv_helper_create_symlink("../some/where", path.c_str(), &error));
    EXPECT_EQ(fs::read_symlink(path), "../some/where");
    EXPECT_EQ(log(), Lines{"<debug> [Common] Create link \"/sys/test/file\" to \"../some/where\""});
}

TEST_F(Files, LinkReplacesAFile)
{
    put_file(path, "abc");
    EXPECT_TRUE(zolv_helper_create_symlink("/sys", path.c_str(), &error));
    EXPECT_EQ(fs::read_symlink(path), "/sys");
}

TEST_F(Files, LinkReplacesALinkAndNotWhatThatLeadsTo)
{
    put_file("/sys/test/target", "abc");
    fs::create_symlink("target", path);
    EXPECT_TRUE(zolv_helper_create_symlink("/sys", path.c_str(), &error));
    EXPECT_EQ(fs::read_symlink(path), "/sys");
    EXPECT_EQ(file_content("/sys/test/target"), "abc");
}

TEST_F(Files, LinkOverADanglingLinkFails)
{
    fs::create_symlink("nowhere", path);
    EXPECT_FALSE(zolv_helper_create_symlink("/sys", path.c_str(), &error));
    expect_error("create symlink '/sys/test/file' failed: File exists");
    EXPECT_EQ(fs::read_symlink(path), "nowhere");
}

TEST_F(Files, LinkOverAFolderFails)
{
    fs::create_directory(path);
    EXPECT_FALSE(zolv_helper_create_symlink("/sys", path.c_str(), &error));
    expect_error("couldn't remove file '/sys/test/file'");
}

TEST_F(Files, CopyAndMoveOverwrite)
{
    put_file(path, "new");
    put_file("/sys/test/copy", "old");
    put_file("/sys/test/moved", "old");
    EXPECT_TRUE(zolv_helper_copy_file(path.c_str(), "/sys/test/copy", &error));
    EXPECT_EQ(file_content("/sys/test/copy"), "new");
    EXPECT_EQ(file_content(path), "new");
    EXPECT_TRUE(zolv_helper_move_file(path.c_str(), "/sys/test/moved", &error));
    EXPECT_EQ(file_content("/sys/test/moved"), "new");
    EXPECT_FALSE(exists(path));
}

TEST_F(Files, CopyMoveAndDeleteReturnTheLibrarysErrors)
{
    EXPECT_FALSE(zolv_helper_copy_file(path.c_str(), "/sys/test/copy", &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    g_clear_error(&error);
    EXPECT_FALSE(zolv_helper_move_file(path.c_str(), "/sys/test/copy", &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    g_clear_error(&error);
    EXPECT_FALSE(zolv_helper_delete_file(path.c_str(), &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    g_clear_error(&error);
    EXPECT_FALSE(zolv_helper_delete_file("/sys", &error));
    g_clear_error(&error);
}

TEST_F(Files, DeleteTakesFilesLinksAndEmptyFolders)
{
    put_file("/sys/test/target", "");
    put_file(path, "");
    fs::create_symlink("target", "/sys/test/link");
    fs::create_directory("/sys/test/folder");
    for (const std::string name : {"file", "link", "folder"})
        EXPECT_TRUE(zolv_helper_delete_file(("/sys/test/" + name).c_str(), &error));
    EXPECT_EQ(names_in("/sys/test"), Lines{"target"});
}

TEST_F(Files, DirectoryIsDeletedWithAllBelowItAndNothingBehindItsLinks)
{
    put_file("/sys/test/tree/a/b/c", "");
    put_file("/sys/test/tree/.hidden", "");
    put_file("/sys/test/outside/kept", "");
    fs::create_directory_symlink("/sys/test/outside", "/sys/test/tree/a/link");
    fs::create_symlink("nowhere", "/sys/test/tree/dangling");
    EXPECT_TRUE(zolv_helper_delete_directory("/sys/test/tree", &error));
    EXPECT_EQ(names_in("/sys/test"), Lines{"outside"});
    EXPECT_TRUE(exists("/sys/test/outside/kept"));
}

TEST_F(Files, DeletingAMissingDirectoryFails)
{
    EXPECT_FALSE(zolv_helper_delete_directory("/sys/test/none", &error));
    expect_error("Path '/sys/test/none' is not a directory", G_FILE_ERROR, G_FILE_ERROR_NOTDIR);
}

TEST_F(Files, DeletingAFileAsDirectoryGivesTheEnumerationsError)
{
    put_file(path, "");
    EXPECT_FALSE(zolv_helper_delete_directory(path.c_str(), &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_DIRECTORY));
    EXPECT_TRUE(exists(path));
    g_clear_error(&error);
}

TEST_F(Files, DeletingADirectoryThatCannotBeLookedAtGivesTheQuerysError)
{
    put_file(path, "");
    EXPECT_FALSE(zolv_helper_delete_directory("/sys/test/file/x", &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_DIRECTORY));
    EXPECT_TRUE(g_str_has_suffix(error->message, ": Not a directory")) << error->message;
    g_clear_error(&error);
}

TEST_F(Files, DeletingALinkAsDirectoryFailsAndDoesNotFollowIt)
{
    put_file("/sys/test/outside/kept", "");
    for (const char *target : {"outside", "nowhere"}) {
        fs::create_symlink(target, path);
        EXPECT_FALSE(zolv_helper_delete_directory(path.c_str(), &error));
        expect_error("Path '/sys/test/file' is not a directory", G_FILE_ERROR, G_FILE_ERROR_NOTDIR);
        EXPECT_EQ(fs::read_symlink(path), target);
        fs::remove(path);
    }
    EXPECT_TRUE(exists("/sys/test/outside/kept"));
}

/* A mount point cannot be removed; the kernel lists the folders of a tmpfs newest first. */
class UndeletableChild : public Files {
  protected:
    void SetUp() override
    {
        Files::SetUp();
        for (const char *name : {"a", "b", "c", "d"})
            put_file(std::string("/sys/test/tree/") + name + "/file", "");
        for (const char *name : {"b", "c"})
            ASSERT_EQ(mount("tmpfs", (std::string("/sys/test/tree/") + name).c_str(), "tmpfs", 0,
                            nullptr),
                      0);
    }
    void TearDown() override
    {
        for (const char *name : {"b", "c"})
            umount((std::string("/sys/test/tree/") + name).c_str());
        Files::TearDown();
    }
};

TEST_F(UndeletableChild, EndsTheDeletionForACallerThatWantsTheError)
{
    EXPECT_FALSE(zolv_helper_delete_directory("/sys/test/tree", &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_EMPTY)) << error->message;
    g_clear_error(&error);
    EXPECT_EQ(names_in("/sys/test/tree").size(), 3U);
}

TEST_F(UndeletableChild, IsPassedOverForACallerThatDoesNot)
{
    EXPECT_FALSE(zolv_helper_delete_directory("/sys/test/tree", nullptr));
    EXPECT_EQ(names_in("/sys/test/tree"), (Lines{"b", "c"}));
}

TEST_F(FilesDeathTest, NullPathsAbort)
{
    guchar byte = 0;

    EXPECT_DEATH(zolv_helper_create_file(nullptr, nullptr), "assertion failed: \\(filepath\\)");
    EXPECT_DEATH(zolv_helper_read_flash_otp(nullptr, &byte, 1, nullptr),
                 "assertion failed: \\(filepath\\)");
    EXPECT_DEATH(zolv_helper_read_flash_otp("", nullptr, 1, nullptr),
                 "assertion failed: \\(data\\)");
    EXPECT_DEATH(zolv_helper_copy_file(nullptr, "", nullptr), "assertion failed: \\(src_path\\)");
    EXPECT_DEATH(zolv_helper_copy_file("", nullptr, nullptr), "assertion failed: \\(dst_path\\)");
    EXPECT_DEATH(zolv_helper_move_file(nullptr, "", nullptr), "assertion failed: \\(src_path\\)");
    EXPECT_DEATH(zolv_helper_move_file("", nullptr, nullptr), "assertion failed: \\(dest_path\\)");
    EXPECT_DEATH(zolv_helper_delete_file(nullptr, nullptr), "assertion failed: \\(file_path\\)");
    EXPECT_DEATH(zolv_helper_delete_directory(nullptr, nullptr),
                 "assertion failed: \\(dir_path\\)");
}

class Scripts : public Files {
  protected:
    gboolean run(const std::string &script, int length = 64)
    {
        put_file(path, script);
        return zolv_helper_execute_file(path.c_str(), buffer, length, &error);
    }
};

TEST_F(Scripts, LeaveTheirLastLineWithoutItsNewline)
{
    EXPECT_TRUE(run("echo one; echo two; echo three"));
    EXPECT_STREQ(buffer, "three");
    EXPECT_EQ(log(),
              (Lines{"<info>  [Common] Execute file '/sys/test/file'", "<debug> [Common] 'one'",
                     "<debug> [Common] 'two'", "<debug> [Common] 'three'"}));
}

TEST_F(Scripts, MayEndWithoutANewline)
{
    EXPECT_TRUE(run("echo one; printf two"));
    EXPECT_STREQ(buffer, "two");
}

TEST_F(Scripts, MayPrintNothing)
{
    buffer[0] = 'x';
    EXPECT_TRUE(run("true"));
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(log(), Lines{"<info>  [Common] Execute file '/sys/test/file'"});
}

TEST_F(Scripts, LineThatJustFitsIsOneLine)
{
    EXPECT_TRUE(run("echo abc", 4));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(log().size(), 2U);
}

TEST_F(Scripts, LongerLineCountsAsSeveral)
{
    EXPECT_TRUE(run("echo abcdefgh; echo i; echo abcdefgh", 4));
    EXPECT_STREQ(buffer, "gh");
    EXPECT_EQ(log(),
              (Lines{"<info>  [Common] Execute file '/sys/test/file'", "<debug> [Common] 'abc'",
                     "<debug> [Common] 'def'", "<debug> [Common] 'gh'", "<debug> [Common] 'i'",
                     "<debug> [Common] 'abc'", "<debug> [Common] 'def'", "<debug> [Common] 'gh'"}));
}

TEST_F(Scripts, TwoBytesHoldOneCharacterAtATime)
{
    EXPECT_TRUE(run("printf 'ab\\n\\nc'", 2));
    EXPECT_STREQ(buffer, "c");
    EXPECT_EQ(log(),
              (Lines{"<info>  [Common] Execute file '/sys/test/file'", "<debug> [Common] 'a'",
                     "<debug> [Common] 'b'", "<debug> [Common] ''", "<debug> [Common] 'c'"}));
}

/* Those that a program which is started now would inherit. */
std::vector<int>
inherited_descriptors()
{
    std::vector<int> found;

    for (int fd = 0; fd < 1024; fd++)
        if (const int flags = fcntl(fd, F_GETFD); flags >= 0 && (flags & FD_CLOEXEC) == 0)
            found.push_back(fd);
    return found;
}

/* What holds while a script runs. */
template <typename Check>
void
while_running(const std::function<void(const char *)> &run, Check check)
{
    std::thread script(run, "touch /sys/test/runs; for i in {1..1000}; do [ -e /sys/test/go ] && "
                            "exit; sleep 0.01; done");

    while (!exists("/sys/test/runs"))
        usleep(1000);
    check();
    put_file("/sys/test/go", "");
    script.join();
}

TEST_F(Scripts, LeaveNothingForOtherProgramsToInherit)
{
    const std::vector<int> before = inherited_descriptors();

    while_running([this](const char *script) { run(script); },
                  [&] { EXPECT_EQ(inherited_descriptors(), before); });
}

TEST_F(Scripts, LineEndsAtAZeroByteAndTheNextOneCounts)
{
    EXPECT_TRUE(run("printf 'a\\0b\\n\\nc\\n'"));
    EXPECT_EQ(log(),
              (Lines{"<info>  [Common] Execute file '/sys/test/file'", "<debug> [Common] 'a'",
                     "<debug> [Common] ''", "<debug> [Common] 'c'"}));
}

TEST_F(Scripts, RunToTheirEndWithoutRoomForALine)
{
    for (const int length : {0, 1}) {
        EXPECT_TRUE(run("echo one; echo two; echo done > /sys/test/done", length));
        EXPECT_TRUE(exists("/sys/test/done"));
        fs::remove("/sys/test/done");
    }
}

TEST_F(Scripts, SucceedWhateverTheirStatus)
{
    EXPECT_TRUE(run("echo one; exit 1"));
    EXPECT_STREQ(buffer, "one");
    EXPECT_TRUE(zolv_helper_execute_file("/sys/test/none", buffer, sizeof buffer, &error));
}

TEST_F(Scripts, OutputIsLoggedAsValidText)
{
    EXPECT_TRUE(run("printf 'a\\xff\\x1b\\n'"));
    EXPECT_EQ(log().back(), "<debug> [Common] 'a\ufffd\\x1b'");
    EXPECT_STREQ(buffer, "a\xff\x1b");
}

TEST_F(Scripts, ArgumentsAreCheckedInOrder)
{
    EXPECT_FALSE(zolv_helper_execute_file(nullptr, nullptr, -1, &error));
    expect_error("[Common] File path is NULL.");
    EXPECT_FALSE(zolv_helper_execute_file(path.c_str(), nullptr, -1, &error));
    expect_error("[Common] Output buffer is NULL.");
    EXPECT_FALSE(zolv_helper_execute_file(path.c_str(), buffer, -1, &error));
    expect_error("[Common] Output buffer length is negative.");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Scripts, LongCommandIsCutAfter255Bytes)
{
    const std::string folder = "/sys/test/" + std::string(200, 'd');
    const std::string cut = folder + "/" + std::string(255 - 10 - folder.size() - 1, 'n');

    put_file(cut, "echo cut");
    EXPECT_TRUE(zolv_helper_execute_file((cut + "tail").c_str(), buffer, sizeof buffer, &error));
    EXPECT_STREQ(buffer, "cut");
}

TEST_F(Scripts, ThatCannotBeStartedFail)
{
    struct rlimit old_limit {};
    getrlimit(RLIMIT_NOFILE, &old_limit);
    const struct rlimit no_more_files = {3, old_limit.rlim_max};

    put_file(path, "echo one");
    char *line = buffer;
    GError **problem = &error; /* the sanitizers need files to look at members */
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &no_more_files), 0);
    const gboolean started = zolv_helper_execute_file(path.c_str(), line, 64, problem);
    setrlimit(RLIMIT_NOFILE, &old_limit);
    EXPECT_FALSE(started);
    expect_error("[Common] Failed to run command '/bin/bash /sys/test/file'");
}

/* The daemon's disposition of SIGCHLD. */
class IgnoredChildren : public Scripts {
  protected:
    void SetUp() override
    {
        Scripts::SetUp();
        std::signal(SIGCHLD, SIG_IGN);
    }
    void TearDown() override
    {
        std::signal(SIGCHLD, SIG_DFL);
        Scripts::TearDown();
    }
    static bool ignored()
    {
        struct sigaction action {};
        sigaction(SIGCHLD, nullptr, &action);
        return action.sa_handler == SIG_IGN;
    }
};

TEST_F(IgnoredChildren, AreNotIgnoredByAScriptsPrograms)
{
    EXPECT_TRUE(run("grep SigIgn /proc/self/status"));
    const unsigned long long mask = std::stoull(std::string(buffer).substr(7), nullptr, 16);
    EXPECT_EQ(mask >> (SIGCHLD - 1) & 1U, 0U) << buffer;
}

/* Shells give it back to their programs anyhow; others would inherit what we have. */
TEST_F(IgnoredChildren, AreNotIgnoredWhileAScriptRuns)
{
    while_running([this](const char *script) { run(script); }, [] { EXPECT_FALSE(ignored()); });
    EXPECT_TRUE(ignored());
}

TEST_F(IgnoredChildren, AreIgnoredAgainWhenTheLastScriptEnds)
{
    std::vector<std::thread> threads;

    put_file(path, "sleep 0.0$((RANDOM % 5))");
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([] {
            char line[16];
            for (int n = 0; n < 5; n++)
                EXPECT_TRUE(zolv_helper_execute_file(path.c_str(), line, sizeof line, nullptr));
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_TRUE(ignored());
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
}

TEST_F(IgnoredChildren, KeepAHandler)
{
    static volatile sig_atomic_t n_calls = 0;

    std::signal(SIGCHLD, [](int) { n_calls = n_calls + 1; });
    EXPECT_TRUE(run("echo one"));
    EXPECT_EQ(n_calls, 1);
}

TEST_F(IgnoredChildren, KeepAHandlerThatCameMeanwhile)
{
    void (*const handler)(int) = [](int) {};

    {
        const zolv::WaitableChildren waitable;
        std::signal(SIGCHLD, handler);
    }
    EXPECT_EQ(std::signal(SIGCHLD, SIG_DFL), handler);
}

} // namespace
