#include "tree.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <vector>

namespace board {

namespace {

/* What a file that is always ready reports. */
constexpr unsigned always_ready = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;

std::vector<std::string>
split_path(std::string_view path)
{
    std::vector<std::string> parts;

    while (!path.empty()) {
        std::size_t slash = path.find('/');
        std::string_view part = path.substr(0, slash);

        if (!part.empty() && part != ".")
            parts.emplace_back(part);
        path = slash == std::string_view::npos ? std::string_view{} : path.substr(slash + 1);
    }
    return parts;
}

std::string_view
slice(std::string_view content, std::size_t size, off_t offset)
{
    auto start = static_cast<std::size_t>(offset);
    return start >= content.size() ? std::string_view{} : content.substr(start, size);
}

} // namespace

mode_t
Directory::mode() const
{
    return S_IFDIR | 0755;
}

std::shared_ptr<Node>
Directory::add(const std::string &name, std::shared_ptr<Node> node)
{
    node->path_ = path() + "/" + name;
    if (node->alias_.empty())
        node->alias_ = alias() + "/" + name;
    children_[name] = node;
    return node;
}

std::shared_ptr<Node>
Directory::remove(std::string_view name)
{
    auto found = children_.find(name);

    if (found == children_.end())
        return nullptr;
    auto node = found->second;
    children_.erase(found);
    if (auto *directory = dynamic_cast<Directory *>(node.get())) {
        while (!directory->children_.empty())
            directory->remove(std::string(directory->children_.begin()->first));
    } else if (auto *file = dynamic_cast<File *>(node.get())) {
        file->removed();
    }
    return node;
}

std::shared_ptr<Node>
Directory::find(std::string_view name) const
{
    auto found = children_.find(name);
    return found == children_.end() ? nullptr : found->second;
}

std::shared_ptr<Node>
Directory::resolve(std::string_view path)
{
    std::vector<std::string> parts = split_path(path);
    std::vector<std::shared_ptr<Node>> trail{shared_from_this()};
    int links = 0;

    for (std::size_t i = 0; i < parts.size(); ++i) {
        auto *directory = dynamic_cast<Directory *>(trail.back().get());

        if (parts[i] == "..") {
            if (trail.size() > 1)
                trail.pop_back();
            continue;
        }
        auto next = directory == nullptr ? nullptr : directory->find(parts[i]);
        if (!next)
            return nullptr;
        if (auto *link = dynamic_cast<Link *>(next.get())) {
            if (++links > 20)
                return nullptr;
            std::vector<std::string> rest = split_path(link->target());
            if (link->target().starts_with("/"))
                trail.resize(1);
            rest.insert(rest.end(), parts.begin() + static_cast<long>(i) + 1, parts.end());
            parts = std::move(rest);
            i = static_cast<std::size_t>(-1);
            continue;
        }
        trail.push_back(next);
    }
    return trail.back();
}

std::shared_ptr<Directory>
Directory::make(std::string_view path)
{
    std::vector<std::string> parts = split_path(path);
    auto here = std::static_pointer_cast<Directory>(shared_from_this());

    for (const std::string &part : parts) {
        auto next = std::dynamic_pointer_cast<Directory>(here->resolve(part));

        if (!next) {
            next = std::make_shared<Directory>();
            next->lasting_ = true;
            here->add(part, next);
        }
        here = next;
    }
    return here;
}

void
Directory::put(std::string_view path, std::shared_ptr<Node> node)
{
    std::size_t slash = path.rfind('/');
    auto parent = slash == std::string_view::npos
                      ? std::static_pointer_cast<Directory>(shared_from_this())
                      : make(path.substr(0, slash));

    parent->add(std::string(path.substr(slash + 1)), std::move(node));
}

void
Directory::put_text(std::string_view path, std::string_view text)
{
    put(path, constant(text));
}

bool
Directory::drop(std::string_view path)
{
    std::size_t slash = path.rfind('/');
    auto parent = std::dynamic_pointer_cast<Directory>(
        slash == std::string_view::npos ? shared_from_this() : resolve(path.substr(0, slash)));

    return parent && parent->remove(path.substr(slash + 1)) != nullptr;
}

mode_t
Link::mode() const
{
    return S_IFLNK | 0777;
}

std::unique_ptr<OpenFile>
File::open(int, int &)
{
    return std::make_unique<OpenFile>();
}

void
File::read(OpenFile &, std::size_t, off_t, Answer answer)
{
    answer.fail(EINVAL);
}

void
File::write(OpenFile &, std::string_view, off_t, Answer answer)
{
    answer.fail(EINVAL);
}

unsigned
File::poll(OpenFile &)
{
    return always_ready;
}

void
File::ioctl(OpenFile &, unsigned, const Memory &, Answer answer)
{
    answer.fail(ENOTTY);
}

bool
File::Memory::get(void *data, std::size_t size) const
{
    iovec local{data, size};
    iovec remote{reinterpret_cast<void *>(address), size};

    return process_vm_readv(pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(size);
}

bool
File::Memory::put(const void *data, std::size_t size) const
{
    iovec local{const_cast<void *>(data), size};
    iovec remote{reinterpret_cast<void *>(address), size};

    return process_vm_writev(pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(size);
}

mode_t
Attribute::mode() const
{
    return S_IFREG | (show_ ? 0444U : 0U) | (store_ ? 0200U : 0U);
}

std::unique_ptr<OpenFile>
Attribute::open(int flags, int &error)
{
    int access = flags & O_ACCMODE;

    if ((access != O_WRONLY && !show_) || (access != O_RDONLY && !store_)) {
        error = EACCES;
        return nullptr;
    }
    auto open = std::make_unique<OpenFile>();
    opens_.insert(open.get());
    return open;
}

void
Attribute::read(OpenFile &open, std::size_t size, off_t offset, Answer answer)
{
    if (gone_)
        return answer.fail(ENODEV);
    if (offset == 0) {
        open.content.clear();
        open.seen = events_;
        if (int error = show_(open.content); error != 0)
            return answer.fail(error);
    }
    answer.data(slice(open.content, size, offset));
}

void
Attribute::write(OpenFile &, std::string_view bytes, off_t, Answer answer)
{
    answer.result(gone_ ? ENODEV : store_(bytes), bytes.size());
}

unsigned
Attribute::poll(OpenFile &open)
{
    return always_ready | (open.seen != events_ ? POLLPRI | POLLERR : 0U);
}

void
Attribute::notify()
{
    ++events_;
    for (OpenFile *open : opens_)
        open->wake();
}

mode_t
PlainFile::mode() const
{
    return S_IFREG | 0644;
}

void
PlainFile::read(OpenFile &, std::size_t size, off_t offset, Answer answer)
{
    answer.data(slice(content_, size, offset));
}

void
PlainFile::write(OpenFile &, std::string_view bytes, off_t offset, Answer answer)
{
    auto start = static_cast<std::size_t>(offset);

    if (content_.size() < start + bytes.size())
        content_.resize(start + bytes.size());
    content_.replace(start, bytes.size(), bytes);
    answer.done(bytes.size());
}

mode_t
BlockNode::mode() const
{
    return S_IFIFO | 0660;
}

std::shared_ptr<Attribute>
constant(std::string_view text)
{
    std::string line(text);

    line += '\n';
    return std::make_shared<Attribute>(
        [line](std::string &shown) {
            shown = line;
            return 0;
        },
        nullptr);
}

bool
parse_number(std::string_view text, long long &number, int base)
{
    std::string digits(text.substr(0, text.find('\0')));
    char *end = nullptr;

    if (digits.ends_with('\n'))
        digits.pop_back();
    if (digits.empty() || isspace(static_cast<unsigned char>(digits[0])))
        return false;
    errno = 0;
    number = std::strtoll(digits.c_str(), &end, base);
    return errno == 0 && *end == '\0';
}

bool
same_word(std::string_view written, std::string_view word)
{
    written = written.substr(0, written.find('\0'));
    if (written.ends_with('\n'))
        written.remove_suffix(1);
    return written == word;
}

} // namespace board
