#pragma once

#include "tree.h"

#include <deque>
#include <list>
#include <string>
#include <vector>

namespace board {

/* One access to a simulated file, as it ended. */
struct Access {
    std::int64_t time_us = 0; /* CLOCK_MONOTONIC when it began */
    pid_t pid = 0;
    std::string operation; /* open, read, write, ioctl, list, close; run for programs */
    std::string path;      /* the way users write it, /sys/class/... */
    std::string data;      /* what was read or written */
    std::string result;    /* a count, or the error's name */
};

class Record {
  public:
    void add(Access access);
    void clear() { accesses_.clear(); }
    const std::deque<Access> &accesses() const { return accesses_; }

  private:
    std::deque<Access> accesses_;
};

/* What is wrong with a file: an error, fewer bytes, a delay, or no answer until it is healed. */
struct Fault {
    std::string pattern;   /* shell pattern over the whole path */
    std::string operation; /* as in Access, or ioctl:0x541f, or find, or any */
    int error = 0;
    long limit_bytes = -1;
    long delay_us = 0;
    long left = -1; /* how many accesses it still hits; -1: until healed */

    std::string text() const;
};

class Faults {
  public:
    void add(Fault fault) { faults_.push_back(std::move(fault)); }
    /* Removes the faults of that pattern, all of them when it is empty. */
    void heal(std::string_view pattern);
    const std::list<Fault> &all() const { return faults_; }

    /* The fault that hits this access, counted as used; an error of 0 and no limit when none. */
    Fault take(std::string_view operation, const std::string &path, const std::string &alias);

  private:
    std::list<Fault> faults_;
};

/* EIO and its number; 0 or an empty name where there is none. */
int error_number(std::string_view name);
std::string error_name(int error);
/* C escapes, so that a record is one line and bytes can be given in a command. */
std::string escape(std::string_view bytes);
std::string unescape(std::string_view text);
std::int64_t now_us();
/* Whether a whole path matches a shell pattern; a star also covers slashes. */
bool path_matches(const std::string &pattern, const std::string &path);

} // namespace board
