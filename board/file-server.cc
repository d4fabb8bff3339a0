#define FUSE_USE_VERSION 314
#include "file-server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace board {

namespace {

FileServer &
server_of(fuse_req_t request)
{
    return *static_cast<FileServer *>(fuse_req_userdata(request));
}

struct stat
stat_of(const Node &node)
{
    struct stat status {};

    status.st_ino = node.number();
    status.st_mode = node.mode();
    status.st_nlink = 1;
    status.st_size = static_cast<off_t>(node.size());
    status.st_blksize = 4096;
    return status;
}

/* How long the kernel may keep a name and its attributes, in seconds. */
double
lifetime_of(const Node &node)
{
    auto *directory = dynamic_cast<const Directory *>(&node);
    return directory != nullptr && directory->lasting() ? 1e9 : 0;
}

OpenFile &
open_file(fuse_file_info *info)
{
    return *reinterpret_cast<OpenFile *>(info->fh);
}

/* The answer to one request of the kernel; writes the record when it is given. */
class Reply : public Answer::Back {
  public:
    Reply(fuse_req_t request, const char *operation, const Node &node, std::string data = {})
        : request_(request), is_write_(std::string_view(operation) == "write")
    {
        access_.time_us = now_us();
        access_.pid = fuse_req_ctx(request)->pid;
        access_.operation = operation;
        access_.path = node.alias();
        access_.data = std::move(data);
    }
    Reply(const Reply &) = delete;
    Reply &operator=(const Reply &) = delete;
    ~Reply() override = default;

    void limit(std::size_t bytes) { limit_ = bytes; }
    void data(std::string_view bytes) override
    {
        bytes = bytes.substr(0, limit_);
        access_.data = bytes;
        note(std::to_string(bytes.size()));
        fuse_reply_buf(request_, bytes.data(), bytes.size());
    }
    void done(std::size_t count) override
    {
        note(std::to_string(count));
        if (is_write_)
            fuse_reply_write(request_, count);
        else
            fuse_reply_ioctl(request_, static_cast<int>(count), nullptr, 0);
    }
    void fail(int error) override
    {
        note(error_name(error));
        fuse_reply_err(request_, error);
    }
    void tell(std::string_view detail) override { access_.data.append(" ").append(detail); }
    void on_interrupt(std::function<void()> interrupted) override
    {
        interrupted_ = std::move(interrupted);
        fuse_req_interrupt_func(
            request_,
            [](fuse_req_t request, void *data) {
                /* libfuse holds its locks here: answer from the loop. */
                server_of(request).loop().after(std::chrono::microseconds(0),
                                                static_cast<Reply *>(data)->interrupted_);
            },
            this);
    }
    /* The last thing before the request is answered, which frees it. */
    void note(std::string result)
    {
        if (interrupted_)
            fuse_req_interrupt_func(request_, nullptr, nullptr);
        access_.result = std::move(result);
        server_of(request_).record().add(std::move(access_));
    }

  private:
    fuse_req_t request_;
    bool is_write_;
    Access access_;
    std::size_t limit_ = std::string_view::npos;
    std::function<void()> interrupted_;
};

void
note(fuse_req_t request, const char *operation, const Node &node, int error)
{
    Access access;

    access.time_us = now_us();
    access.pid = fuse_req_ctx(request)->pid;
    access.operation = operation;
    access.path = node.alias();
    access.result = error == 0 ? "0" : error_name(error);
    server_of(request).record().add(std::move(access));
}

/* Runs @job now, or when the fault's delay is over. */
void
when_due(FileServer &server, const Fault &fault, Loop::Job job)
{
    if (fault.delay_us > 0)
        server.loop().after(std::chrono::microseconds(fault.delay_us), std::move(job));
    else
        job();
}

Fault
fault_for(fuse_req_t request, const char *operation, const Node &node)
{
    return server_of(request).faults().take(operation, node.path(), node.alias());
}

void
reply_entry(fuse_req_t request, const std::shared_ptr<Node> &node)
{
    fuse_entry_param entry{};

    entry.ino = server_of(request).remember(node);
    entry.generation = 1;
    entry.attr = stat_of(*node);
    entry.entry_timeout = entry.attr_timeout = lifetime_of(*node);
    fuse_reply_entry(request, &entry);
}

void
op_init(void *, fuse_conn_info *)
{
}

void
op_lookup(fuse_req_t request, fuse_ino_t parent, const char *name)
{
    auto directory = std::dynamic_pointer_cast<Directory>(server_of(request).node(parent));
    auto node = directory ? directory->find(name) : nullptr;

    if (!node) {
        fuse_reply_err(request, directory ? ENOENT : ENOTDIR);
        return;
    }
    if (Fault fault = fault_for(request, "find", *node); fault.error != 0)
        fuse_reply_err(request, fault.error);
    else
        reply_entry(request, node);
}

void
op_forget(fuse_req_t request, fuse_ino_t inode, std::uint64_t lookups)
{
    server_of(request).forget(inode, lookups);
    fuse_reply_none(request);
}

void
op_getattr(fuse_req_t request, fuse_ino_t inode, fuse_file_info *)
{
    auto node = server_of(request).node(inode);

    if (!node) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    struct stat status = stat_of(*node);
    fuse_reply_attr(request, &status, lifetime_of(*node));
}

void
op_setattr(fuse_req_t request, fuse_ino_t inode, struct stat *wanted, int which,
           fuse_file_info *info)
{
    auto node = server_of(request).node(inode);

    if (auto *file = dynamic_cast<File *>(node.get());
        file != nullptr && (which & FUSE_SET_ATTR_SIZE) != 0 && wanted->st_size == 0)
        file->truncate();
    op_getattr(request, inode, info);
}

void
op_readlink(fuse_req_t request, fuse_ino_t inode)
{
    auto link = std::dynamic_pointer_cast<Link>(server_of(request).node(inode));

    if (!link) {
        fuse_reply_err(request, EINVAL);
        return;
    }
    if (Fault fault = fault_for(request, "follow", *link); fault.error != 0)
        fuse_reply_err(request, fault.error);
    else
        fuse_reply_readlink(request, link->target().c_str());
}

void
open_node(fuse_req_t request, const std::shared_ptr<File> &file, fuse_file_info *info, bool created)
{
    Fault fault = fault_for(request, "open", *file);
    fuse_file_info wanted = *info;

    when_due(server_of(request), fault, [=]() mutable {
        int error = fault.error;
        auto open = error == 0 ? file->open(wanted.flags, error) : nullptr;

        note(request, "open", *file, error);
        if (!open) {
            fuse_reply_err(request, error);
            return;
        }
        open->file = file;
        open->flags = wanted.flags;
        if ((wanted.flags & O_TRUNC) != 0)
            file->truncate();
        wanted.direct_io = 1;
        wanted.fh = reinterpret_cast<std::uint64_t>(open.release());
        if (created) {
            fuse_entry_param entry{};
            entry.ino = server_of(request).remember(file);
            entry.generation = 1;
            entry.attr = stat_of(*file);
            fuse_reply_create(request, &entry, &wanted);
        } else {
            fuse_reply_open(request, &wanted);
        }
    });
}

void
op_open(fuse_req_t request, fuse_ino_t inode, fuse_file_info *info)
{
    auto file = std::dynamic_pointer_cast<File>(server_of(request).node(inode));

    if (file)
        open_node(request, file, info, false);
    else
        fuse_reply_err(request, ENOENT);
}

/* /dev is a file system to write in, /sys is not. */
void
op_create(fuse_req_t request, fuse_ino_t parent, const char *name, mode_t, fuse_file_info *info)
{
    auto directory = std::dynamic_pointer_cast<Directory>(server_of(request).node(parent));

    if (!directory || !directory->path().starts_with("/dev")) {
        fuse_reply_err(request, EACCES);
        return;
    }
    auto file = std::make_shared<PlainFile>();
    directory->add(name, file);
    open_node(request, file, info, true);
}

void
op_symlink(fuse_req_t request, const char *target, fuse_ino_t parent, const char *name)
{
    auto directory = std::dynamic_pointer_cast<Directory>(server_of(request).node(parent));

    if (!directory || !directory->path().starts_with("/dev")) {
        fuse_reply_err(request, EACCES);
        return;
    }
    reply_entry(request, directory->add(name, std::make_shared<Link>(target)));
}

void
op_unlink(fuse_req_t request, fuse_ino_t parent, const char *name)
{
    auto directory = std::dynamic_pointer_cast<Directory>(server_of(request).node(parent));

    if (!directory || !directory->path().starts_with("/dev"))
        fuse_reply_err(request, EACCES);
    else
        fuse_reply_err(request, directory->remove(name) ? 0 : ENOENT);
}

/* Each close(); whoever closes waits for it, so it stands in its place in the record. */
void
op_flush(fuse_req_t request, fuse_ino_t, fuse_file_info *info)
{
    note(request, "close", *open_file(info).file, 0);
    fuse_reply_err(request, 0);
}

/* The last close() is over, some time ago. */
void
op_release(fuse_req_t request, fuse_ino_t, fuse_file_info *info)
{
    delete &open_file(info);
    fuse_reply_err(request, 0);
}

void
op_read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info *info)
{
    OpenFile &open = open_file(info);
    Fault fault = fault_for(request, "read", *open.file);
    auto reply = std::make_unique<Reply>(request, "read", *open.file);

    if (fault.limit_bytes >= 0)
        reply->limit(static_cast<std::size_t>(fault.limit_bytes));
    auto *waiting = reply.release();
    when_due(server_of(request), fault, [=, &open] {
        Answer answer{std::unique_ptr<Answer::Back>(waiting)};
        if (fault.error != 0)
            answer.fail(fault.error);
        else if (fault.limit_bytes == 0)
            answer.data({});
        else
            open.file->read(open, size, offset, std::move(answer));
    });
}

void
op_write(fuse_req_t request, fuse_ino_t, const char *bytes, std::size_t size, off_t offset,
         fuse_file_info *info)
{
    OpenFile &open = open_file(info);
    Fault fault = fault_for(request, "write", *open.file);
    std::string data(bytes, size);
    auto *reply = new Reply(request, "write", *open.file, data);

    if (fault.limit_bytes >= 0)
        data.resize(
            std::min<std::size_t>(data.size(), static_cast<std::size_t>(fault.limit_bytes)));
    when_due(server_of(request), fault, [=, &open] {
        Answer answer{std::unique_ptr<Answer::Back>(reply)};
        if (fault.error != 0)
            answer.fail(fault.error);
        else
            open.file->write(open, data, offset, std::move(answer));
    });
}

void
op_ioctl(fuse_req_t request, fuse_ino_t, unsigned command, void *argument, fuse_file_info *info,
         unsigned, const void *, std::size_t, std::size_t)
{
    OpenFile &open = open_file(info);
    char name[16];

    (void)std::snprintf(name, sizeof name, "0x%x", command);
    Fault fault = fault_for(request, ("ioctl:" + std::string(name)).c_str(), *open.file);
    auto *reply = new Reply(request, "ioctl", *open.file, name);
    File::Memory memory{fuse_req_ctx(request)->pid, reinterpret_cast<std::uint64_t>(argument)};
    when_due(server_of(request), fault, [=, &open] {
        Answer answer{std::unique_ptr<Answer::Back>(reply)};
        if (fault.error != 0)
            answer.fail(fault.error);
        else
            open.file->ioctl(open, command, memory, std::move(answer));
    });
}

void
op_poll(fuse_req_t request, fuse_ino_t, fuse_file_info *info, fuse_pollhandle *handle)
{
    OpenFile &open = open_file(info);

    if (handle != nullptr) {
        if (open.poll_handle != nullptr)
            fuse_pollhandle_destroy(static_cast<fuse_pollhandle *>(open.poll_handle));
        open.poll_handle = handle;
    }
    fuse_reply_poll(request, open.file->poll(open));
}

/* A listing is taken when the directory is opened, so that it is whole whatever comes and goes. */
struct Listing {
    std::vector<std::pair<std::string, struct stat>> entries;
};

void
op_opendir(fuse_req_t request, fuse_ino_t inode, fuse_file_info *info)
{
    auto directory = std::dynamic_pointer_cast<Directory>(server_of(request).node(inode));

    if (!directory) {
        fuse_reply_err(request, ENOTDIR);
        return;
    }
    Fault fault = fault_for(request, "list", *directory);
    when_due(server_of(request), fault, [=, wanted = *info]() mutable {
        note(request, "list", *directory, fault.error);
        if (fault.error != 0) {
            fuse_reply_err(request, fault.error);
            return;
        }
        auto listing = std::make_unique<Listing>();
        listing->entries.emplace_back(".", stat_of(*directory));
        listing->entries.emplace_back("..", stat_of(*directory));
        for (const auto &[name, node] : directory->children())
            listing->entries.emplace_back(name, stat_of(*node));
        wanted.fh = reinterpret_cast<std::uint64_t>(listing.release());
        fuse_reply_open(request, &wanted);
    });
}

void
op_readdir(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info *info)
{
    const auto &entries = reinterpret_cast<Listing *>(info->fh)->entries;
    std::string buffer(size, '\0');
    std::size_t used = 0;

    for (auto i = static_cast<std::size_t>(offset); i < entries.size(); ++i) {
        std::size_t length =
            fuse_add_direntry(request, buffer.data() + used, size - used, entries[i].first.c_str(),
                              &entries[i].second, static_cast<off_t>(i + 1));
        if (length > size - used)
            break;
        used += length;
    }
    fuse_reply_buf(request, buffer.data(), used);
}

void
op_releasedir(fuse_req_t request, fuse_ino_t, fuse_file_info *info)
{
    delete reinterpret_cast<Listing *>(info->fh);
    fuse_reply_err(request, 0);
}

fuse_lowlevel_ops
operations()
{
    fuse_lowlevel_ops ops{};

    ops.init = op_init;
    ops.lookup = op_lookup;
    ops.forget = op_forget;
    ops.getattr = op_getattr;
    ops.setattr = op_setattr;
    ops.readlink = op_readlink;
    ops.open = op_open;
    ops.create = op_create;
    ops.symlink = op_symlink;
    ops.unlink = op_unlink;
    ops.flush = op_flush;
    ops.release = op_release;
    ops.read = op_read;
    ops.write = op_write;
    ops.ioctl = op_ioctl;
    ops.poll = op_poll;
    ops.opendir = op_opendir;
    ops.readdir = op_readdir;
    ops.releasedir = op_releasedir;
    return ops;
}

} // namespace

OpenFile::~OpenFile()
{
    if (poll_handle != nullptr)
        fuse_pollhandle_destroy(static_cast<fuse_pollhandle *>(poll_handle));
    if (file)
        file->closed(*this);
}

void
OpenFile::wake()
{
    if (poll_handle != nullptr)
        fuse_lowlevel_notify_poll(static_cast<fuse_pollhandle *>(poll_handle));
}

FileServer::FileServer(Loop &loop, Record &record, Faults &faults)
    : loop_(loop), record_(record), faults_(faults), root_(std::make_shared<Directory>())
{
    sys_ = root_->make("sys");
    dev_ = root_->make("dev");
}

FileServer::~FileServer()
{
    if (session_ != nullptr)
        fuse_session_destroy(session_);
}

bool
FileServer::mount(const std::string &path)
{
    static const fuse_lowlevel_ops ops = operations();
    char name[] = "board";
    char *arguments[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    int fd = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);

    if (fd < 0)
        return false;
    std::string options =
        "fd=" + std::to_string(fd) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
    if (::mount("board", path.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        return false;
    session_ = fuse_session_new(&args, &ops, sizeof ops, this);
    if (session_ == nullptr ||
        fuse_session_mount(session_, ("/dev/fd/" + std::to_string(fd)).c_str()) != 0)
        return false;
    loop_.watch(fd, [this] { receive(); });
    return true;
}

void
FileServer::forget_names(const std::string &pattern, const Loop::Job &done)
{
    std::vector<std::pair<std::uint64_t, std::string>> names;

    for (const auto &[inode, known] : known_) {
        const std::string &path = known.node->path();
        std::size_t slash = path.rfind('/');

        if (lifetime_of(*known.node) == 0 || (path != pattern && !path_matches(pattern, path) &&
                                              !path_matches(pattern, known.node->alias())))
            continue;
        auto parent = root_->resolve(path.substr(0, slash));
        if (parent)
            names.emplace_back(parent == root_ ? FUSE_ROOT_ID : inode_of(*parent),
                               path.substr(slash + 1));
    }
    if (names.empty()) {
        done();
        return;
    }
    /* The kernel waits for whoever is looking something up in the parent, and they wait for the
     * loop. */
    int finished = eventfd(0, EFD_CLOEXEC);
    auto notifier =
        std::make_shared<std::thread>([session = session_, names = std::move(names), finished] {
            for (const auto &[parent, name] : names)
                fuse_lowlevel_notify_inval_entry(session, parent, name.c_str(), name.size());
            (void)eventfd_write(finished, 1);
        });
    loop_.watch(finished, [this, notifier, finished, done] {
        notifier->join();
        loop_.unwatch(finished);
        close(finished);
        done();
    });
}

void
FileServer::receive()
{
    static fuse_buf buffer{};
    int result = fuse_session_receive_buf(session_, &buffer);

    if (result > 0)
        fuse_session_process_buf(session_, &buffer);
    else if (result != -EINTR && result != -EAGAIN)
        loop_.quit();
}

std::uint64_t
FileServer::inode_of(const Node &node)
{
    return reinterpret_cast<std::uint64_t>(&node);
}

std::shared_ptr<Node>
FileServer::node(std::uint64_t inode) const
{
    if (inode == FUSE_ROOT_ID)
        return root_;
    auto found = known_.find(inode);
    return found == known_.end() ? nullptr : found->second.node;
}

std::uint64_t
FileServer::remember(const std::shared_ptr<Node> &node)
{
    std::uint64_t inode = inode_of(*node);
    Known &known = known_[inode];

    known.node = node;
    ++known.lookups;
    return inode;
}

void
FileServer::forget(std::uint64_t inode, std::uint64_t lookups)
{
    auto found = known_.find(inode);

    if (found != known_.end() && (found->second.lookups -= lookups) == 0)
        known_.erase(found);
}

} // namespace board
