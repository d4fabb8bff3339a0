#include "core/zolv-start.h"

#include "core/zolv-raii.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

/* A script that writes what it finds to a named pipe, which tells when it has ended. */
class Start : public testing::Test {
  protected:
    void SetUp() override
    {
        std::array<char, 32> folder{"/tmp/test-start-XXXXXX"};

        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        folder_ = folder.data();
        ASSERT_EQ(mkfifo(pipe().c_str(), 0600), 0);
    }
    void TearDown() override
    {
        unlink(pipe().c_str());
        unlink(script().c_str());
        rmdir(folder_.c_str());
    }

    std::string pipe() const { return folder_ + "/pipe"; }
    std::string script() const { return folder_ + "/the script"; }
    void write_script(const std::string &text, mode_t mode = 0755) const
    {
        std::ofstream(script()) << text;
        ASSERT_EQ(chmod(script().c_str(), mode), 0);
    }
    /* The lines that the started script writes. */
    std::string output() const
    {
        std::ifstream stream(pipe());

        return {std::istreambuf_iterator<char>(stream), {}};
    }

  private:
    std::string folder_;
};

TEST_F(Start, HandsTheArgumentsOnAsTheyAre)
{
    write_script("#!/bin/bash\nprintf '%s|' \"$0\" \"$@\" > '" + pipe() + "'\n");
    EXPECT_EQ(zolv::start_program({script().c_str(), "hold", "a b\"$c", ""}), 0);
    EXPECT_EQ(output(), script() + "|hold|a b\"$c||");
}

TEST_F(Start, ReportsAMissingFile)
{
    EXPECT_EQ(zolv::start_program({script().c_str()}), ENOENT);
}

TEST_F(Start, ReportsAFileThatIsNotExecutable)
{
    write_script("#!/bin/sh\n", 0644);
    EXPECT_EQ(zolv::start_program({script().c_str()}), EACCES);
}

TEST_F(Start, RunsAScriptWithoutAnInterpreterLineByTheShell)
{
    write_script("echo \"$1\" > '" + pipe() + "'\n");
    EXPECT_EQ(zolv::start_program({script().c_str(), "press"}), 0);
    EXPECT_EQ(output(), "press\n");
}

TEST_F(Start, GivesTheScriptItsOwnChildrenBack)
{
    write_script("#!/bin/bash\n(exit 3) & wait $!; echo $? > '" + pipe() + "'\n");
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(zolv::start_program({script().c_str()}), 0);
    EXPECT_EQ(output(), "3\n");
    signal(SIGCHLD, SIG_DFL);
}

TEST_F(Start, IgnoresAndBlocksNoSignalForTheScript)
{
    sigset_t all;
    sigset_t before;

    write_script("#!/bin/bash\ngrep -E '^Sig(Blk|Ign)' /proc/self/status > '" + pipe() + "'\n");
    signal(SIGPIPE, SIG_IGN);
    signal(SIGHUP, SIG_IGN);
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    EXPECT_EQ(zolv::start_program({script().c_str()}), 0);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    signal(SIGPIPE, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
    /* The C library keeps signals 32 and 33 to itself. */
    EXPECT_TRUE(std::regex_match(
        output(), std::regex("SigBlk:\t0000000000000000\nSigIgn:\t0000000[01][08]0000000\n")));
}

TEST_F(Start, HandsNoDescriptorOnAndAnEmptyStandardInput)
{
    const zolv::UniqueFd leaking(open("/dev/zero", O_RDONLY));

    write_script("#!/bin/bash\n{ readlink /proc/$$/fd/0; ls -l /proc/$$/fd | grep -c zero; } > '" +
                 pipe() + "'\n");
    EXPECT_EQ(zolv::start_program({script().c_str()}), 0);
    EXPECT_EQ(output(), "/dev/null\n0\n");
}

TEST_F(Start, LeavesNoChildWhetherSigchldIsIgnoredOrNot)
{
    write_script("#!/bin/bash\necho > '" + pipe() + "'\n");
    for (const sighandler_t disposition : {SIG_DFL, SIG_IGN}) {
        signal(SIGCHLD, disposition);
        EXPECT_EQ(zolv::start_program({script().c_str()}), 0);
        EXPECT_EQ(output(), "\n");
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }
    signal(SIGCHLD, SIG_DFL);
}

TEST_F(Start, DoesNotWaitForAScriptThatNeverEnds)
{
    write_script("#!/bin/bash\necho $$ > '" + pipe() + "'\nexec sleep infinity\n");
    EXPECT_EQ(zolv::start_program({script().c_str()}), 0);
    const pid_t pid = std::stoi(output());
    EXPECT_EQ(kill(pid, 0), 0);
    kill(pid, SIGKILL);
}

TEST_F(Start, IsNotDisturbedBySignals)
{
    struct sigaction action = {};
    struct sigaction before = {};
    const itimerval often{{0, 50}, {0, 50}}; /* a fork would begin anew at each */
    const itimerval never{};
    int started = 0;

    write_script("#!/bin/true\n");
    action.sa_handler = [](int) {}; /* system calls are interrupted, not restarted */
    sigaction(SIGALRM, &action, &before);
    for (int i = 0; i < 20; i++) {
        zolv::StartingProgram program({script().c_str()});
        setitimer(ITIMER_REAL, &often, nullptr);
        started += program.finish() == 0;
        setitimer(ITIMER_REAL, &never, nullptr);
    }
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(started, 20);
}

TEST_F(Start, MayBeCalledByManyThreads)
{
    std::atomic<int> started = 0;
    std::array<std::thread, 8> threads;

    write_script("#!/bin/true\n");
    for (std::thread &thread : threads)
        thread = std::thread([&] {
            for (int j = 0; j < 10; j++)
                started += zolv::start_program({script().c_str()}) == 0;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(started, 80);
}

} // namespace
