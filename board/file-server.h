#pragma once

#include "accesses.h"
#include "loop.h"

#include <memory>
#include <unordered_map>

struct fuse_session;

namespace board {

/* Serves a tree of files to the kernel through FUSE, and is the place where accesses are recorded
 * and faults strike. The kernel caches the names of lasting folders, which are three quarters of
 * what it would ask for, and nothing else: every access arrives here. */
class FileServer {
  public:
    FileServer(Loop &loop, Record &record, Faults &faults);
    FileServer(const FileServer &) = delete;
    FileServer &operator=(const FileServer &) = delete;
    ~FileServer();

    Directory &root() { return *root_; }
    Directory &sys() { return *sys_; }
    Directory &dev() { return *dev_; }
    Loop &loop() { return loop_; }
    Record &record() { return record_; }
    Faults &faults() { return faults_; }

    /* Mounts the tree on @path; false with errno set when that is not possible. */
    bool mount(const std::string &path);
    /* Has the kernel look again for the lasting folders whose path matches @pattern, or is it;
     * @done runs when it will. */
    void forget_names(const std::string &pattern, const Loop::Job &done);

    /* Used by the operations. */
    std::shared_ptr<Node> node(std::uint64_t inode) const;
    std::uint64_t remember(const std::shared_ptr<Node> &node);
    void forget(std::uint64_t inode, std::uint64_t lookups);
    static std::uint64_t inode_of(const Node &node);

  private:
    void receive();

    struct Known {
        std::shared_ptr<Node> node;
        std::uint64_t lookups = 0;
    };
    Loop &loop_;
    Record &record_;
    Faults &faults_;
    std::shared_ptr<Directory> root_;
    std::shared_ptr<Directory> sys_;
    std::shared_ptr<Directory> dev_;
    std::unordered_map<std::uint64_t, Known> known_;
    fuse_session *session_ = nullptr;
};

} // namespace board
