#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace zolv {

/*
 * What is under way in a directory of scripts while a script and its link are not both there or
 * both gone: a symbolic link of a fixed name, which appears and goes at once, with all that the
 * next start has to know in its target. It goes with this object, unless the process is killed
 * before.
 */
class ScriptMark {
  public:
    static constexpr char file_name[] = ".perimond-mark";

    enum Work : char { adding = 'a', adopting = 'o', removing = 'r' };
    struct Entry {
        Work work;
        ino_t inode; /* of the script, since another may have its place by now */
        std::string name;
        std::string script;
    };

    explicit ScriptMark(const char *directory);
    ScriptMark(const ScriptMark &) = delete;
    ScriptMark &operator=(const ScriptMark &) = delete;
    ~ScriptMark();

    /* errno on failure. */
    bool set(const Entry &entry) const;
    /* What the last process left; destroyed with this object, too. */
    std::optional<Entry> read() const;

  private:
    std::string path_;
};

} // namespace zolv
