#include "private-world.h"

#include "tvl-log.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string stash = "/sys/.stash"; /* what the system has in the covered folders */
const std::string log_path = "/sys/.log";

void
require(bool done, const std::string &what)
{
    if (!done) {
        std::cerr << "private world: " << what << ": " << strerror(errno) << std::endl;
        std::exit(EXIT_FAILURE);
    }
}

void
mount_tmpfs(const std::string &path)
{
    fs::create_directories(path);
    require(mount("tmpfs", path.c_str(), "tmpfs", 0, "mode=0755") == 0, path);
}

void
cover_with_copy(const std::string &path)
{
    const std::string original = stash + path;

    fs::create_directories(original);
    require(mount(path.c_str(), original.c_str(), "none", MS_BIND | MS_REC, nullptr) == 0, path);
    mount_tmpfs(path);
    for (const auto &entry : fs::directory_iterator(original))
        fs::create_symlink(entry.path(), path / entry.path().filename());
}

/* Whoever may not mount becomes root in a user namespace of his own. */
void
become_root()
{
    const uid_t uid = geteuid();
    const gid_t gid = getegid();

    if (uid == 0)
        return;
    require(unshare(CLONE_NEWUSER) == 0, "user namespace");
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
}

void
enter_private_world()
{
    become_root();
    require(unshare(CLONE_NEWNS) == 0, "mount namespace");
    require(mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    mount_tmpfs("/sys");
    cover_with_copy("/etc");
    cover_with_copy("/usr/sbin");
    mount_tmpfs("/run/lock"); /* where the boot environment's lock file lies */
    umask(022);
    require(tvl_log_setup(log_path.c_str()) == 0, "log");
}

} // namespace

void
PrivateWorld::SetUp()
{
    for (const char *path : {"/sys/class", "/sys/bus", "/sys/test", "/etc/tarvel",
                             "/etc/fw_env.config", "/usr/sbin/modprobe"})
        fs::remove_all(path);
    fs::create_directories("/sys/test");
    tvl_log_set_level("DEBUG");
    log();
}

std::vector<std::string>
PrivateWorld::log()
{
    std::istringstream text(file_content(log_path));
    std::vector<std::string> lines;

    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    fs::resize_file(log_path, 0);
    return lines;
}

void
put_file(const std::string &path, const std::string &content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string
file_content(const std::string &path)
{
    std::ostringstream content;

    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

bool
exists(const std::string &path)
{
    return fs::exists(fs::symlink_status(path));
}

unsigned
mode_of(const std::string &path)
{
    return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

std::vector<std::string>
names_in(const std::string &path)
{
    std::vector<std::string> names;

    for (const auto &entry : fs::directory_iterator(path))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

void
put_full_device(const std::string &path)
{
    fs::create_directories(fs::path(path).parent_path());
    fs::create_symlink("/dev/full", path);
}

int
main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    enter_private_world(); /* while there is one thread */
    return RUN_ALL_TESTS();
}
