#include "control.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace board {

namespace {

/* How long all wait for a client that does not take its answer. */
constexpr timeval patience{3, 0};

int
unix_socket(const std::string &path, sockaddr_un &address)
{
    if (path.size() >= sizeof address.sun_path)
        throw Refusal("'" + path + "' is too long for a socket");
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

int
connected(const std::string &path)
{
    sockaddr_un address{};
    int fd = unix_socket(path, address);

    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        throw Refusal("no board runs at '" + path + "': " + std::strerror(errno));
    }
    return fd;
}

bool
send_all(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

} // namespace

Control::Control(World &world, const std::string &path) : world_(world), path_(path)
{
    sockaddr_un address{};

    socket_ = unix_socket(path, address);
    (void)unlink(path.c_str());
    if (bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(socket_, 64) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    world_.loop.watch(socket_, [this] { accept_one(); });
}

Control::~Control()
{
    world_.loop.unwatch(socket_);
    close(socket_);
    (void)unlink(path_.c_str());
}

void
Control::accept_one()
{
    int fd = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
    auto request = std::make_shared<std::string>();

    if (fd < 0)
        return;
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    world_.loop.watch(fd, [this, fd, request] {
        std::array<char, 4096> part{};
        ssize_t length = recv(fd, part.data(), part.size(), 0);

        if (length > 0) {
            request->append(part.data(), static_cast<std::size_t>(length));
            return;
        }
        world_.loop.unwatch(fd);
        answer(fd, *request);
    });
}

void
Control::answer(int fd, const std::string &request)
{
    Words words;

    for (std::size_t at = 0; at < request.size();) {
        words.emplace_back(request.c_str() + at);
        at += words.back().size() + 1;
    }
    auto reply = [fd](const std::string &text) {
        (void)send_all(fd, text);
        close(fd);
    };
    try {
        world_.act(words, [reply](const std::string &text) { reply("+" + text); });
    } catch (const std::exception &problem) {
        reply(std::string("-") + problem.what() + "\n");
    }
}

int
ask(const std::string &path, const Words &words)
{
    int fd = connected(path);
    std::string request;
    std::string text;
    std::array<char, 65536> part{};

    for (const std::string &word : words)
        request.append(word).push_back('\0');
    (void)send_all(fd, request);
    shutdown(fd, SHUT_WR);
    for (ssize_t length = 0; (length = recv(fd, part.data(), part.size(), 0)) > 0;)
        text.append(part.data(), static_cast<std::size_t>(length));
    close(fd);
    bool good = text.starts_with('+');
    FILE *stream = good ? stdout : stderr;
    if (!text.empty())
        (void)std::fwrite(text.data() + 1, 1, text.size() - 1, stream);
    else
        (void)std::fputs("the board has ended\n", stderr);
    return good ? 0 : 1;
}

pid_t
server_of(const std::string &path)
{
    int fd = connected(path);
    ucred peer{};
    socklen_t length = sizeof peer;

    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    close(fd);
    return peer.pid;
}

} // namespace board
