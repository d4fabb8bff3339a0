#include "peripherals/zolv-script-source.h"

#include "helpers/zolv-helpers-store.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

/* What a child tells, with the descriptor that it may hand over. */
struct Report {
    zolv::CopyResult result;
    std::uint64_t mode = 0;
    off_t size = 0;
};

union ControlBuffer {
    cmsghdr header;
    std::array<char, CMSG_SPACE(sizeof(int))> space;
};

void
send_report(int socket, Report report, int fd)
{
    ControlBuffer control{};
    iovec part{&report, sizeof report};
    msghdr message{};

    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (fd >= 0) {
        message.msg_control = &control;
        message.msg_controllen = sizeof control.space;
        control.header = {CMSG_LEN(sizeof fd), SOL_SOCKET, SCM_RIGHTS};
        memcpy(CMSG_DATA(&control.header), &fd, sizeof fd);
    }
    sendmsg(socket, &message, MSG_NOSIGNAL);
}

bool
receive_report(int socket, Report &report, zolv::UniqueFd *fd)
{
    ControlBuffer control{};
    iovec part{&report, sizeof report};
    msghdr message{};

    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control.space;
    if (TEMP_FAILURE_RETRY(recvmsg(socket, &message, MSG_CMSG_CLOEXEC)) != sizeof report)
        return false;
    if (const cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr && fd != nullptr) {
        int received = -1;
        memcpy(&received, CMSG_DATA(header), sizeof received);
        fd->reset(received);
    }
    return true;
}

bool
wait_for(int socket, Clock::time_point deadline)
{
    pollfd waited{socket, POLLIN, 0};

    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int n_ready = poll(&waited, 1, static_cast<int>(std::max<long>(left.count(), 0)));
        if (n_ready >= 0 || errno != EINTR)
            return n_ready > 0;
    }
}

void
close_all_but(std::array<int, 3> kept)
{
    unsigned first = STDERR_FILENO + 1;

    std::sort(kept.begin(), kept.end());
    for (const int fd : kept) {
        if (fd < 0)
            continue;
        if (static_cast<unsigned>(fd) > first)
            close_range(first, static_cast<unsigned>(fd) - 1, 0);
        first = static_cast<unsigned>(fd) + 1;
    }
    close_range(first, ~0U, 0);
}

/* What a process is that may wait in the kernel long after the daemon has ended: it holds nothing
 * of the daemon's, and its alarm ends it where the wait can be ended. */
void
become_errand(const std::array<int, 3> &kept)
{
    sigset_t none;

    for (const int number : {SIGTERM, SIGINT, SIGALRM})
        signal(number, SIG_DFL);
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(zolv::ScriptSource::max_time_s + 1);
    close_all_but(kept);
}

/* Runs @work in a process that keeps the descriptors @first and @second, until the deadline. @work
 * fills the report and returns a descriptor to hand over, or -1; like all that follows a fork, it
 * may neither allocate nor lock. The process is a grandchild, so that nobody has to wait for its
 * end. */
template <typename Work>
zolv::CopyResult
run_errand(Clock::time_point deadline, int first, int second, Work work, Report &report,
           zolv::UniqueFd *fd)
{
    std::array<int, 2> ends{};

    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return {errno};
    const zolv::UniqueFd ours(ends[0]);
    zolv::UniqueFd theirs(ends[1]);
    const pid_t child = fork();
    if (child < 0)
        return {errno};
    if (child == 0) {
        const pid_t grandchild = fork();
        if (grandchild == 0) {
            become_errand({theirs.get(), first, second});
            const int handed_over = work(report);
            send_report(theirs.get(), report, handed_over);
        } else if (grandchild < 0) {
            report.result.error = errno;
            send_report(theirs.get(), report, -1);
        }
        _exit(0);
    }
    /* Where SIGCHLD is ignored this waits for the end and learns nothing. */
    TEMP_FAILURE_RETRY(waitpid(child, nullptr, 0));
    theirs.reset();
    if (!wait_for(ours.get(), deadline))
        return {ETIMEDOUT, zolv::CopyResult::out_of_time};
    return receive_report(ours.get(), report, fd) ? report.result : zolv::CopyResult{ECHILD};
}

int
look_at(const char *path, Report &report)
{
    struct stat info;
    const int fd = open(path, O_PATH | O_CLOEXEC);

    if (fd < 0 || fstat(fd, &info) != 0) {
        report.result.error = errno;
        return -1;
    }
    report.mode = info.st_mode;
    report.size = info.st_size;
    return fd;
}

zolv::CopyResult
copy_content(const char *path, int to)
{
    static std::array<char, std::size_t{1} << 16U> buffer;
    /* There are regular files in /proc that block. */
    const int from = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);

    if (from < 0)
        return {errno, zolv::CopyResult::source};
    for (;;) {
        const ssize_t length = TEMP_FAILURE_RETRY(read(from, buffer.data(), buffer.size()));
        if (length == 0)
            return {};
        if (length < 0 || !zolv::write_fully(to, {buffer.data(), static_cast<std::size_t>(length)}))
            return {errno};
    }
}

} // namespace

zolv::ScriptSource::ScriptSource(const char *path)
    : deadline_(Clock::now() + std::chrono::seconds(max_time_s)), path_(path),
      base_name_(CharPtr(g_path_get_basename(path)).get())
{
    Report report;
    const auto look = [path](Report &seen) { return look_at(path, seen); };

    error_ = run_errand(deadline_, -1, -1, look, report, &fd_).error;
    mode_ = static_cast<mode_t>(report.mode);
    size_ = report.size;
}

bool
zolv::ScriptSource::missing() const
{
    return error_ == ENOENT || error_ == ENOTDIR || error_ == ELOOP || error_ == ENAMETOOLONG;
}

bool
zolv::ScriptSource::regular() const
{
    return S_ISREG(mode_);
}

zolv::CopyResult
zolv::ScriptSource::copy_to(int to) const
{
    const std::string path = "/proc/self/fd/" + std::to_string(fd_.get());
    const auto copy = [&path, to](Report &report) {
        report.result = copy_content(path.c_str(), to);
        return -1;
    };
    Report report;

    return run_errand(deadline_, fd_.get(), to, copy, report, nullptr);
}
