#pragma once

#include "core/zolv-raii.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace zolv {

/* Where the copying of a script failed, and with what error of the system; 0 is success. */
struct CopyResult {
    enum Step { place, source, content, out_of_time };

    int error = 0;
    Step step = content;

    explicit operator bool() const { return error == 0; }
};

/*
 * A file that is to be installed. It is opened once, without a side effect on what it is; what is
 * copied later is the file that was checked.
 *
 * The file may lie on a file system that does not answer, and then even a look at it does not come
 * back. So only child processes touch it. The main loop waits for them, for max_time_s seconds
 * altogether, and leaves a child that is late to itself: it ends by its own alarm, or when the file
 * system answers.
 */
class ScriptSource {
  public:
    static constexpr int max_time_s = 5;

    explicit ScriptSource(const char *path);

    bool missing() const;
    bool unreadable() const { return error_ != 0; }
    bool regular() const;
    int error() const { return error_; }
    mode_t mode() const { return mode_; }
    off_t size() const { return size_; }
    const std::string &path() const { return path_; }
    const std::string &base_name() const { return base_name_; }
    /* Writes the content to @to. */
    CopyResult copy_to(int to) const;

  private:
    std::chrono::steady_clock::time_point deadline_;
    std::string path_;
    std::string base_name_;
    UniqueFd fd_;
    int error_ = 0;
    mode_t mode_ = 0;
    off_t size_ = 0;
};

} // namespace zolv
