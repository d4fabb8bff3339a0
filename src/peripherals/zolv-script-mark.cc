#include "peripherals/zolv-script-mark.h"

#include "core/zolv-raii.h"

#include <glib.h>
#include <unistd.h>

zolv::ScriptMark::ScriptMark(const char *directory)
    : path_(std::string(directory) + "/" + file_name)
{
}

zolv::ScriptMark::~ScriptMark()
{
    unlink(path_.c_str());
}

bool
zolv::ScriptMark::set(const Entry &entry) const
{
    const std::string target = std::string(1, entry.work) + "/" + std::to_string(entry.inode) +
                               "/" + entry.name + "/" + entry.script;

    unlink(path_.c_str());
    return symlink(target.c_str(), path_.c_str()) == 0;
}

std::optional<zolv::ScriptMark::Entry>
zolv::ScriptMark::read() const
{
    const CharPtr target(g_file_read_link(path_.c_str(), nullptr));
    char *rest = nullptr;

    if (target == nullptr || target.get()[0] == '\0' || target.get()[1] != '/')
        return std::nullopt;
    const auto work = static_cast<Work>(target.get()[0]);
    const ino_t inode = g_ascii_strtoull(target.get() + 2, &rest, 10);
    if (*rest != '/')
        return std::nullopt;
    const std::string_view tail(rest + 1);
    const std::size_t end_of_name = tail.find('/');
    if (end_of_name == tail.npos)
        return std::nullopt;
    return Entry{work, inode, std::string(tail.substr(0, end_of_name)),
                 std::string(tail.substr(end_of_name + 1))};
}
