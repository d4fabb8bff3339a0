#include "space.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <link.h>
#include <linux/capability.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace board {

namespace {

namespace fs = std::filesystem;

constexpr const char *plugin_parent = "/usr/lib/aarch64-linux-gnu";

[[noreturn]] void
give_up(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void
mount_or_throw(const char *source, const std::string &target, const char *type, unsigned long flags,
               const char *options = nullptr)
{
    if (mount(source, target.c_str(), type, flags, options) != 0)
        give_up("mount on " + target);
}

void
bind_mount(const std::string &source, const std::string &target)
{
    mount_or_throw(source.c_str(), target, nullptr, MS_BIND | MS_REC);
}

void
write_text(const std::string &path, const std::string &text)
{
    std::ofstream file(path);
    file << text;
    if (!file.flush())
        give_up(path);
}

/* Links to the entries of @original in @copy. A link is copied as it is, since what it says is
 * relative to where it stands. */
void
link_entries(const fs::path &original, const fs::path &copy, const fs::path &target)
{
    for (const auto &entry : fs::directory_iterator(original)) {
        fs::path link = copy / entry.path().filename();

        if (fs::exists(fs::symlink_status(link)))
            continue;
        if (entry.is_symlink())
            fs::copy_symlink(entry.path(), link);
        else
            fs::create_symlink(target / entry.path().filename(), link);
    }
}

/* Makes @path a folder of the world in which files can be added: an empty file system over it,
 * with links to all that was there, which stays reachable below /run/board. There each folder on
 * the way has links to its other entries, so that relative links still find their way up. */
void
shadow(const fs::path &path, const std::string &stage)
{
    fs::path kept = stage + "/run/board" + path.string();
    fs::path fresh = stage + "/fresh" + path.string();
    fs::path above = "/";

    for (const fs::path &part : path.relative_path()) {
        fs::path beside = stage + "/run/board" + above.string();
        above /= part;
        if (fs::is_symlink(beside / part))
            fs::remove(beside / part);
        fs::create_directories(beside / part);
        link_entries(above.parent_path(), beside, above.parent_path());
    }
    bind_mount(path, kept);
    fs::create_directories(fresh);
    mount_or_throw("board", fresh, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755");
    link_entries(path, fresh, "/run/board" + path.string());
    bind_mount(fresh, path);
}

void
fill_dev(const std::string &dev)
{
    for (const char *name : {"null", "zero", "full", "random", "urandom", "tty"})
        bind_mount(std::string("/dev/") + name, dev + "/" + name);
    mount_or_throw("devpts", dev + "/pts", "devpts", MS_NOSUID | MS_NOEXEC,
                   "newinstance,ptmxmode=0666,mode=620");
    mount_or_throw("board", dev + "/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
}

/* In a chroot "/" is no mount point, so that its mounts cannot be made private, and whoever joins
 * the namespace later would stand at the computer's root. There the chroot's folder becomes the
 * root of the namespace. Needs the computer's own root. */
void
leave_chroot()
{
    const int root = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    const int space = open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC);

    /* Joining the namespace that one is in already leads to its root. */
    if (root < 0 || space < 0 || setns(space, CLONE_NEWNS) != 0)
        give_up("leave the chroot by /proc/self/ns/mnt");
    mount_or_throw(nullptr, "/", nullptr, MS_REC | MS_PRIVATE);
    const int tree = open_tree(root, "",
                               AT_EMPTY_PATH | OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC |
                                   static_cast<unsigned>(AT_RECURSIVE));
    if (tree < 0 ||
        move_mount(tree, "", root, "", MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) != 0 ||
        fchdir(tree) != 0 || syscall(SYS_pivot_root, ".", ".") != 0 ||
        umount2(".", MNT_DETACH) != 0 || chdir("/") != 0)
        give_up("make the chroot a root");
    for (int fd : {root, space, tree})
        close(fd);
}

bool
same_space(pid_t pid, const char *kind)
{
    struct stat theirs {};
    struct stat ours {};
    std::string name = std::string("/ns/") + kind;

    return stat(("/proc/" + std::to_string(pid) + name).c_str(), &theirs) == 0 &&
           stat(("/proc/self" + name).c_str(), &ours) == 0 && theirs.st_ino == ours.st_ino;
}

/* Puts a library of the board over the system's, for whatever finds it in whatever way. Without the
 * system's there is nobody to find it. */
void
replace_library(const char *name, const char *replacement)
{
    void *library = dlopen(name, RTLD_LAZY | RTLD_LOCAL);
    link_map *loaded = nullptr;

    if (library == nullptr)
        return;
    if (dlinfo(library, RTLD_DI_LINKMAP, &loaded) == 0)
        bind_mount(own_file(replacement, LIBRARY_DIR), fs::canonical(loaded->l_name));
    dlclose(library);
}

} // namespace

std::string
own_file(const std::string &name, const std::string &installed)
{
    const fs::path beside = fs::read_symlink("/proc/self/exe").parent_path() / name;

    return fs::exists(beside) ? beside.string() : installed + "/" + name;
}

void
enter_new_space()
{
    uid_t uid = geteuid();
    gid_t gid = getegid();
    int kinds = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWPID;

    if (unshare(kinds | (uid == 0 ? 0 : CLONE_NEWUSER)) != 0)
        give_up("new namespaces");
    if (uid != 0) {
        write_text("/proc/self/setgroups", "deny");
        write_text("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        write_text("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
}

std::string
prepare_mounts(const std::string &directory)
{
    std::string stage = directory + "/stage";

    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        if (errno != EINVAL)
            give_up("private mounts");
        leave_chroot();
    }
    mount_or_throw("board", stage, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755");
    for (const char *name : {"/files", "/run", "/fresh"})
        fs::create_directory(stage + name);
    return stage + "/files";
}

void
arrange_mounts(const std::string &directory)
{
    std::string stage = directory + "/stage";
    std::string run = stage + "/run";

    umask(022);
    replace_library("libsocketcan.so.2", "libsocketcan-board.so");
    fill_dev(stage + "/files/dev");
    mount_or_throw("board", run, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755");
    for (const char *name : {"/board", "/dbus", "/udev/data", "/lock"})
        fs::create_directories(run + name);
    chmod((run + "/lock").c_str(), 01777);
    /* Without it libudev takes it that no udev runs, and hears no events. */
    write_text(run + "/udev/control", "");

    shadow("/etc", stage);
    fs::remove("/etc/fw_env.config");
    write_text("/etc/fw_env.config", directory + "/env.bin 0x0000 0x4000\n");
    fs::remove("/etc/tarvel");
    fs::create_directory("/etc/tarvel");
    bind_mount(directory + "/tarvel", "/etc/tarvel");

    fs::path plugins = fs::path(plugin_parent) / "tarvelperimond";
    if (!fs::is_directory(plugins)) {
        shadow(fs::is_directory(plugin_parent) ? plugin_parent : "/usr/lib", stage);
        fs::create_directories(plugins);
    }
    bind_mount(directory + "/plugins", plugins);

    /* The kernel's modules are the host's affair: the request is noted, nothing is loaded. */
    shadow("/usr/sbin", stage);
    fs::remove("/usr/sbin/modprobe");
    write_text("/usr/sbin/modprobe",
               "#!/bin/sh\nexec " + fs::read_symlink("/proc/self/exe").string() + " --world '" +
                   directory + "' note /sbin/modprobe \"$@\"\n");
    chmod("/usr/sbin/modprobe", 0755);

    if (fs::is_directory("/media"))
        mount_or_throw("board", "/media", "tmpfs", MS_NOSUID | MS_NODEV, "mode=755");
    bind_mount(run, "/run");
    bind_mount(stage + "/files/sys", "/sys");
    bind_mount(stage + "/files/dev", "/dev");
    /* Where the host shows only part of /proc, a new one is not allowed: the host's will do. */
    (void)mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
    /* The board's computer was booted from its flash, whatever the host's was. */
    write_text("/run/board/cmdline", "console=ttyS0 root=/dev/mmcblk0p2 rw\n");
    (void)mount("/run/board/cmdline", "/proc/cmdline", nullptr, MS_BIND, nullptr);
    (void)umount2(stage.c_str(), MNT_DETACH);
}

void
raise_loopback()
{
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};

    request.ifr_name[0] = 'l';
    request.ifr_name[1] = 'o';
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    if (ioctl(fd, SIOCSIFFLAGS, &request) != 0)
        give_up("loopback");
    close(fd);
}

void
join_space(pid_t pid)
{
    std::array<char, 4096> here{};

    if (getcwd(here.data(), here.size()) == nullptr)
        here = {"/"};
    std::vector<int> spaces;
    for (const char *kind : {"user", "mnt", "net", "ipc", "pid"}) {
        if (same_space(pid, kind))
            continue;
        std::string path = "/proc/" + std::to_string(pid) + "/ns/" + kind;
        int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            give_up(path);
        spaces.push_back(fd);
    }
    for (int fd : spaces) {
        if (setns(fd, 0) != 0)
            give_up("join the world");
        close(fd);
    }
    if (chdir(here.data()) != 0 && chdir("/") != 0)
        give_up("chdir");
}

void
execute(const std::string &directory, const std::vector<std::string> &command)
{
    std::vector<char *> arguments;

    arguments.reserve(command.size() + 1);
    for (unsigned long capability :
         {CAP_SYS_MODULE, CAP_SYS_TIME, CAP_SYS_RAWIO, CAP_SYSLOG, CAP_MKNOD})
        (void)prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
    /* A plain tree stands at /sys, which libudev must be told to accept. */
    setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
    setenv("TARVELPERIMOND_BOARD", directory.c_str(), 1);
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

} // namespace board
