#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace board {

/* How a file answers one access: at once, or later (a read that waits for an event). Exactly one
 * of data(), done() and fail() is called; what the access was, and with what result, is recorded
 * there. */
class Answer {
  public:
    struct Back {
        Back() = default;
        Back(const Back &) = delete;
        Back &operator=(const Back &) = delete;
        virtual ~Back() = default;
        virtual void data(std::string_view bytes) = 0;
        virtual void done(std::size_t count) = 0;
        virtual void fail(int error) = 0;
        virtual void tell(std::string_view detail) = 0;
        virtual void on_interrupt(std::function<void()> interrupted) = 0;
    };

    explicit Answer(std::unique_ptr<Back> back) : back_(std::move(back)) {}
    void data(std::string_view bytes) { take()->data(bytes); }
    void done(std::size_t count = 0) { take()->done(count); }
    void fail(int error) { take()->fail(error); }
    /* What the record says of a request beside its number. */
    void tell(std::string_view detail) { back_->tell(detail); }
    /* An error number, or 0 and then @count. */
    void result(int error, std::size_t count) { error != 0 ? fail(error) : done(count); }
    void on_interrupt(std::function<void()> job) { back_->on_interrupt(std::move(job)); }

  private:
    std::unique_ptr<Back> take() { return std::move(back_); }
    std::unique_ptr<Back> back_;
};

class Directory;
class File;

/* One open() of a file. */
struct OpenFile {
    OpenFile() = default;
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    virtual ~OpenFile();
    void wake(); /* whoever polls looks again */

    std::shared_ptr<File> file;
    int flags = 0;
    std::string content;    /* what a read at offset 0 showed; later offsets continue in it */
    std::uint64_t seen = 0; /* number of the last event that a read or poll has reported */
    void *poll_handle = nullptr;
};

class Node : public std::enable_shared_from_this<Node> {
  public:
    Node() = default;
    Node(const Node &) = delete;
    Node &operator=(const Node &) = delete;
    virtual ~Node() = default;
    virtual mode_t mode() const = 0;
    virtual std::size_t size() const { return 4096; }

    /* Never the same again, unlike its place in memory. */
    std::uint64_t number() const { return number_; }

    /* Where the node is (/sys/devices/...), and where users of it look (/sys/class/...). */
    const std::string &path() const { return path_; }
    const std::string &alias() const { return alias_; }
    void set_alias(std::string alias) { alias_ = std::move(alias); }

  private:
    friend class Directory;
    inline static std::uint64_t next_number_ = 1;
    std::uint64_t number_ = next_number_++;
    std::string path_;
    std::string alias_;
};

class Directory : public Node {
  public:
    using Children = std::map<std::string, std::shared_ptr<Node>, std::less<>>;

    mode_t mode() const override;
    std::shared_ptr<Node> add(const std::string &name, std::shared_ptr<Node> node);
    std::shared_ptr<Node> remove(std::string_view name);
    std::shared_ptr<Node> find(std::string_view name) const;
    const Children &children() const { return children_; }
    /* Whether it was made on the way to something else: what comes and goes by itself is added. */
    bool lasting() const { return lasting_; }

    /* Paths are below this directory; leading slashes do not matter, links are followed. */
    std::shared_ptr<Node> resolve(std::string_view path);
    std::shared_ptr<Directory> make(std::string_view path);
    void put(std::string_view path, std::shared_ptr<Node> node);
    void put_text(std::string_view path, std::string_view text);
    bool drop(std::string_view path);

  private:
    Children children_;
    bool lasting_ = false;
};

class Link : public Node {
  public:
    explicit Link(std::string target) : target_(std::move(target)) {}
    mode_t mode() const override;
    const std::string &target() const { return target_; }

  private:
    std::string target_;
};

class File : public Node {
  public:
    /* Returns null with @error set when the file cannot be opened. */
    virtual std::unique_ptr<OpenFile> open(int flags, int &error);
    virtual void read(OpenFile &, std::size_t size, off_t offset, Answer answer);
    virtual void write(OpenFile &, std::string_view bytes, off_t offset, Answer answer);
    virtual unsigned poll(OpenFile &);
    virtual void truncate() {}
    /* @memory reads and writes the caller's memory, since few requests say how much they move. */
    struct Memory {
        pid_t pid;
        std::uint64_t address;
        bool get(void *data, std::size_t size) const;
        bool put(const void *data, std::size_t size) const;
    };
    virtual void ioctl(OpenFile &, unsigned request, const Memory &memory, Answer answer);
    virtual void removed() {}
    void closed(OpenFile &open) { opens_.erase(&open); }

  protected:
    std::set<OpenFile *> opens_;
};

/* A sysfs attribute: shown anew by each read at offset 0, stored by each write as a whole.
 * notify() is the kernel's sysfs_notify(): pollers see POLLPRI and POLLERR until they read. What is
 * still open when its device goes fails from then on. */
class Attribute : public File {
  public:
    using Show = std::function<int(std::string &text)>;
    using Store = std::function<int(std::string_view text)>;

    Attribute(Show show, Store store) : show_(std::move(show)), store_(std::move(store)) {}
    mode_t mode() const override;
    std::unique_ptr<OpenFile> open(int flags, int &error) override;
    void read(OpenFile &, std::size_t size, off_t offset, Answer answer) override;
    void write(OpenFile &, std::string_view bytes, off_t offset, Answer answer) override;
    unsigned poll(OpenFile &) override;
    void removed() override { gone_ = true; }
    void notify();

  private:
    Show show_;
    Store store_;
    bool gone_ = false;
    std::uint64_t events_ = 1; /* a file that was never read is due at once, as in the kernel */
};

/* A file that holds what was written to it. */
class PlainFile : public File {
  public:
    explicit PlainFile(std::string content = {}) : content_(std::move(content)) {}
    mode_t mode() const override;
    std::size_t size() const override { return content_.size(); }
    void read(OpenFile &, std::size_t size, off_t offset, Answer answer) override;
    void write(OpenFile &, std::string_view bytes, off_t offset, Answer answer) override;
    void truncate() override { content_.clear(); }

  private:
    std::string content_;
};

/* The node of a disk. Nobody may make block devices in a user namespace; a named pipe can be opened
 * and, unlike a regular file, is not taken for an image of a disk. */
class BlockNode : public Node {
  public:
    mode_t mode() const override;
    std::size_t size() const override { return 0; }
};

/* An attribute that always shows the same line. */
std::shared_ptr<Attribute> constant(std::string_view text);

/* What the kernel's string to number conversions accept: one newline at the end, base by prefix
 * for base 0, nothing else. */
bool parse_number(std::string_view text, long long &number, int base = 0);
/* Equal but for one newline at the end. */
bool same_word(std::string_view written, std::string_view word);

} // namespace board
