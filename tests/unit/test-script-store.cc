#include "peripherals/zolv-script-store.h"

#include "private-world.h"
#include "tvl-log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/* The changes of a directory that the process makes before it is killed; negative: never. */
int changes_left = -1;

/* Synced files, by the name that they have then; null: nobody wants to know. */
std::vector<std::string> *synced = nullptr;

void
count_change()
{
    if (changes_left >= 0 && changes_left-- == 0)
        raise(SIGKILL);
}

} // namespace

/* These stand before the C library's. */
extern "C" int
symlink(const char *target, const char *path) noexcept
{
    count_change();
    return static_cast<int>(syscall(SYS_symlinkat, target, AT_FDCWD, path));
}

extern "C" int
unlink(const char *path) noexcept
{
    count_change();
    return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

extern "C" int
remove(const char *path) noexcept
{
    const int result = unlink(path);

    return result != 0 && errno == EISDIR ? rmdir(path) : result;
}

extern "C" int
rename(const char *from, const char *to) noexcept
{
    count_change();
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

extern "C" int
renameat2(int from_directory, const char *from, int to_directory, const char *to,
          unsigned flags) noexcept
{
    count_change();
    return static_cast<int>(syscall(SYS_renameat2, from_directory, from, to_directory, to, flags));
}

extern "C" int
fchmod(int fd, mode_t mode) noexcept
{
    count_change();
    return static_cast<int>(syscall(SYS_fchmod, fd, mode));
}

extern "C" int
fsync(int fd)
{
    count_change();
    if (synced != nullptr)
        synced->push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)));
    return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace {

namespace fs = std::filesystem;
namespace faults = zolv::script_faults;

constexpr std::array add_refusals = {
    zolv::ScriptRefusal{faults::source_missing, ZOLV_CORE_ERROR_INVAL_ARG, "source missing"},
    zolv::ScriptRefusal{faults::source_unreadable, ZOLV_CORE_ERROR_INVAL_FILE_ATTR, "unreadable"},
    zolv::ScriptRefusal{faults::source_not_regular, ZOLV_CORE_ERROR_INVAL_FILE_TYPE, "irregular"},
    zolv::ScriptRefusal{faults::name_too_long, ZOLV_CORE_ERROR_INVAL_FILE_NAME, "too long"},
    zolv::ScriptRefusal{faults::name_malformed, ZOLV_CORE_ERROR_INVAL_FILE_NAME, "malformed"},
    zolv::ScriptRefusal{faults::name_reserved, ZOLV_CORE_ERROR_INVAL_FILE_NAME, "reserved"},
    zolv::ScriptRefusal{faults::name_taken, ZOLV_CORE_ERROR_INVAL_ARG, "name taken"},
    zolv::ScriptRefusal{faults::script_taken, ZOLV_CORE_ERROR_INVAL_ARG, "script taken"},
};
constexpr std::array remove_refusals = {
    zolv::ScriptRefusal{faults::name_unknown, ZOLV_CORE_ERROR_INVAL_ARG, "unknown"},
    zolv::ScriptRefusal{faults::script_in_use, ZOLV_CORE_ERROR_NOT_PERMIT, "in use"},
};

/* Of the calling thread. */
void
drop_capabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};

    ASSERT_EQ(syscall(SYS_capset, &header, none.data()), 0);
}

class ScriptStore : public testing::Test {
  protected:
    void SetUp() override
    {
        std::array<char, 40> folder{"/tmp/test-script-store-XXXXXX"};

        ASSERT_GE(tvl_log_setup(nullptr), 0);
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        root_ = folder.data();
        directory_ = (root_ / "scripts").string();
        fs::create_directory(directory_);
        kind_ = {directory_.c_str(), ".word",       add_refusals,    "copy failed",
                 "mode failed",      "link failed", remove_refusals, ZOLV_CORE_ERROR_FAILED,
                 "script gone",      nullptr};
        write_file(source(), "#!/bin/true\n");
    }
    void TearDown() override
    {
        tvl_log_shutdown();
        fs::remove_all(root_);
    }

    static void write_file(const fs::path &path, const std::string &text)
    {
        std::ofstream(path) << text;
    }
    fs::path source() const { return root_ / "source.sh"; }
    fs::path inside(const std::string &name) const { return fs::path(directory_) / name; }

    /* "" on success, else the error. */
    std::string add(const std::string &name, const fs::path &path)
    {
        g_autoptr(GError) error = nullptr;

        return store().add(name.c_str(), path.c_str(), &error) ? "" : error->message;
    }
    std::string remove(const std::string &name)
    {
        g_autoptr(GError) error = nullptr;

        return store().remove(name.c_str(), &error) ? "" : error->message;
    }
    std::string names()
    {
        std::vector<zolv::ScriptStore::Link> links;
        std::string all;

        EXPECT_TRUE(store().list(links, nullptr));
        std::sort(links.begin(), links.end(),
                  [](const auto &a, const auto &b) { return a.name < b.name; });
        for (const auto &link : links)
            all += link.name + ">" + link.target + " ";
        return all;
    }
    zolv::ScriptStore &store()
    {
        if (store_ == nullptr)
            renew();
        return *store_;
    }

    fs::path root_;
    std::string directory_;
    zolv::ScriptKind kind_{};

    /* As a start of the daemon does. */
    void renew() { store_ = std::make_unique<zolv::ScriptStore>(kind_); }

  private:
    std::unique_ptr<zolv::ScriptStore> store_;
};

TEST_F(ScriptStore, InstallsACopyWithARunBitAndALink)
{
    struct stat info;

    umask(0077);
    EXPECT_EQ(add("word", source()), "");
    umask(0022);
    ASSERT_EQ(lstat(inside("source.sh").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode, S_IFREG | 0755U);
    EXPECT_EQ(fs::read_symlink(inside("word.word")), inside("source.sh"));
    EXPECT_TRUE(store().registered("word"));
    EXPECT_FALSE(store().in_use("word"));
}

TEST_F(ScriptStore, FollowsALinkToTheSourceAndKeepsTheLinksName)
{
    fs::create_symlink(source(), root_ / "alias");
    EXPECT_EQ(add("word", root_ / "alias"), "");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(inside("alias"))));
}

TEST_F(ScriptStore, RefusesASourceThatIsNoRegularFileWithoutOpeningIt)
{
    sockaddr_un address{};
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);

    ASSERT_EQ(mkfifo((root_ / "fifo").c_str(), 0600), 0);
    address.sun_family = AF_UNIX;
    (root_ / "socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(fd);
    for (const fs::path &path :
         {root_ / "fifo", root_ / "socket", root_, root_ / "..", fs::path("/dev/null")})
        EXPECT_EQ(add("word", path), "irregular") << path;
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(ScriptStore, DoesNotFindASourceBehindAFileALoopOrALinkToNowhere)
{
    fs::create_symlink("loop", root_ / "loop");
    fs::create_symlink("nowhere", root_ / "dangling");
    for (const fs::path &path :
         {root_ / "absent", source() / "below", root_ / "loop", root_ / "dangling", fs::path(""),
          fs::path(source().string() + "/"), fs::path("/" + std::string(300, 'x'))})
        EXPECT_EQ(add("word", path), "source missing") << path;
}

TEST_F(ScriptStore, ChecksTheNameInOrder)
{
    store().reserve("mine");
    EXPECT_EQ(add(std::string(31, 'a'), source()), "");
    EXPECT_EQ(add(std::string(32, ' '), source()), "too long");
    for (const char *name : {"a b", "a.b", "../a", "a/b", "\xc3\xa4", "\xff"})
        EXPECT_EQ(add(name, source()), "malformed") << name;
    EXPECT_EQ(add("mine", source()), "reserved");
    EXPECT_EQ(add(std::string(31, 'a'), source()), "name taken");
    EXPECT_EQ(add("word", source()), "script taken");
}

TEST_F(ScriptStore, RefusesAScriptThatWouldBeItsOwnLink)
{
    fs::copy(source(), root_ / "word.word");
    EXPECT_EQ(add("word", root_ / "word.word"), "script taken");
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(ScriptStore, RefusesANameWhoseLinksPlaceIsTaken)
{
    write_file(inside("file.word"), "text");
    fs::create_directory(inside("folder.word"));
    for (const char *name : {"file", "folder"})
        EXPECT_EQ(add(name, source()), "script taken") << name;
    EXPECT_EQ(fs::file_size(inside("file.word")), 4U);
    EXPECT_FALSE(fs::exists(inside("source.sh")));
}

TEST_F(ScriptStore, DoesNotTakeTheScriptOfAnotherName)
{
    fs::copy(source(), root_ / "b.word");
    EXPECT_EQ(add("a", root_ / "b.word"), "");
    EXPECT_EQ(add("b", source()), "script taken");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(inside("b.word"))));
    EXPECT_EQ(remove("a"), "");
    EXPECT_EQ(add("b", source()), "");
}

TEST_F(ScriptStore, DoesNotWriteThroughADanglingLinkInTheScriptsPlace)
{
    fs::create_symlink(root_ / "victim", inside("source.sh"));
    EXPECT_EQ(add("word", source()), "script taken");
    EXPECT_FALSE(fs::exists(root_ / "victim"));
}

TEST_F(ScriptStore, AnswersAFailedCopyInTheFileUtilitysWords)
{
    g_autoptr(GError) error = nullptr;

    fs::remove_all(directory_);
    EXPECT_FALSE(store().add("word", source().c_str(), &error));
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    EXPECT_EQ(error->message, "Error opening file “" + inside("source.sh").string() +
                                  "”: No such file or directory");
    EXPECT_FALSE(store().registered("word"));
    fs::create_directory(directory_);
}

TEST_F(ScriptStore, CannotReadWhatTheFileSystemKeepsFromIt)
{
    std::string outcome;

    fs::permissions(source(), fs::perms::none);
    EXPECT_FALSE(store().registered("word"));
    std::thread([&] {
        drop_capabilities();
        outcome = add("word", source());
    }).join();
    EXPECT_EQ(outcome, "Error opening file " + source().string() + ": Permission denied");
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(ScriptStore, MakesNoNameThatCannotBeKeptOverAPowerCut)
{
    std::string outcome;

    /* A folder that takes files and cannot be opened, for the superuser as well. */
    EXPECT_FALSE(store().registered("word"));
    fs::permissions(directory_, fs::perms::owner_write | fs::perms::owner_exec);
    std::thread([&] {
        drop_capabilities();
        outcome = add("word", source());
    }).join();
    fs::permissions(directory_, fs::perms::owner_all);
    EXPECT_EQ(outcome, "link failed");
    EXPECT_FALSE(fs::is_symlink(inside("word.word")));
    EXPECT_FALSE(store().registered("word"));
}

TEST_F(ScriptStore, RefusesAScriptLargerThanTheFreeSpace)
{
    const fs::path large = root_ / "large";

    write_file(large, "");
    if (truncate(large.c_str(), off_t{1} << 43U) != 0)
        GTEST_FAIL() << "the file system of /tmp takes no sparse files";
    EXPECT_EQ(add("word", large), "Error splicing file: No space left on device");
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(ScriptStore, InstallsAScriptThatNeedsExactlyTheFreeBlocks)
{
    constexpr std::size_t size = 65536;
    const fs::path exact = root_ / "exact";

    ASSERT_EQ(mount("tmpfs", directory_.c_str(), "tmpfs", 0, "size=65536"), 0);
    write_file(exact, std::string(size + 1, 'x'));
    EXPECT_EQ(add("word", exact), "Error splicing file: No space left on device");
    EXPECT_TRUE(fs::is_empty(directory_));
    fs::resize_file(exact, size);
    EXPECT_EQ(add("word", exact), "");
    EXPECT_EQ(fs::file_size(inside("exact")), size);
    /* A copier that has answered may still be about to end. */
    EXPECT_EQ(umount2(directory_.c_str(), MNT_DETACH), 0);
}

TEST_F(ScriptStore, SyncsTheScriptUnderItsHiddenNameAndThenTheDirectory)
{
    std::vector<std::string> paths;

    synced = &paths;
    EXPECT_EQ(add("word", source()), "");
    synced = nullptr;
    EXPECT_EQ(paths, (std::vector<std::string>{inside(".perimond-unfinished"), directory_}));
}

TEST_F(ScriptStore, KeepsItsOwnNamesToItself)
{
    for (const char *name : {".perimond-unfinished", ".perimond-mark", ".perimond-temporary"}) {
        fs::copy(source(), root_ / name);
        EXPECT_EQ(add("word", root_ / name), "script taken") << name;
    }
}

TEST_F(ScriptStore, CopiesTheFileThatItChecked)
{
    const zolv::ScriptSource opened(source().c_str());
    const fs::path copy = root_ / "copy";

    fs::remove(source());
    write_file(source(), "another");
    write_file(copy, "");
    const zolv::UniqueFd to(open(copy.c_str(), O_WRONLY));
    EXPECT_TRUE(opened.copy_to(to.get()));
    EXPECT_EQ(file_content(copy), "#!/bin/true\n");
}

TEST_F(ScriptStore, ListsLinksWithItsSuffixAlone)
{
    write_file(inside("plain.word"), "");
    write_file(inside("script"), "");
    fs::create_symlink("/else/where", inside("b.word"));
    fs::create_symlink("a.word", inside("a.word"));
    fs::create_symlink("script", inside("c.other"));
    EXPECT_EQ(names(), "a>a.word b>/else/where ");
    EXPECT_TRUE(store().registered("a"));
    EXPECT_TRUE(store().exists("a"));
    EXPECT_FALSE(store().exists("plain"));
}

TEST_F(ScriptStore, FailsToListADirectoryThatIsNotThere)
{
    std::vector<zolv::ScriptStore::Link> links;
    g_autoptr(GError) error = nullptr;

    fs::remove_all(directory_);
    EXPECT_FALSE(store().list(links, &error));
    EXPECT_NE(error, nullptr);
}

TEST_F(ScriptStore, KnowsNoNameThatLeadsOutOfTheDirectory)
{
    fs::create_symlink(source(), root_ / "outside.word");
    EXPECT_FALSE(store().exists("../outside"));
    EXPECT_EQ(remove("../outside"), "unknown");
    EXPECT_TRUE(fs::is_symlink(root_ / "outside.word"));
}

TEST_F(ScriptStore, RemovesLinkScriptAndRegistration)
{
    EXPECT_EQ(add("word", source()), "");
    EXPECT_EQ(remove("word"), "");
    EXPECT_TRUE(fs::is_empty(directory_));
    EXPECT_FALSE(store().registered("word"));
    EXPECT_EQ(remove("word"), "unknown");
}

TEST_F(ScriptStore, RemovesNothingThatIsInUse)
{
    EXPECT_EQ(add("word", source()), "");
    store().select("word", "DI1");
    store().select("word", "DI2");
    store().deselect("word", "DI1");
    EXPECT_EQ(remove("word"), "in use");
    EXPECT_TRUE(fs::exists(inside("word.word")));
    store().deselect("word", "DI2");
    EXPECT_EQ(remove("word"), "");
}

TEST_F(ScriptStore, KeepsALinkWhoseScriptIsGone)
{
    EXPECT_EQ(add("word", source()), "");
    fs::remove(inside("source.sh"));
    EXPECT_EQ(remove("word"), "script gone");
    EXPECT_TRUE(fs::is_symlink(inside("word.word")));
}

TEST_F(ScriptStore, RemovesAScriptThatLiesElsewhere)
{
    fs::create_symlink(source(), inside("word.word"));
    EXPECT_EQ(remove("word"), "");
    EXPECT_TRUE(fs::is_empty(directory_));
    EXPECT_FALSE(fs::exists(source()));
}

TEST_F(ScriptStore, KeepsTheRegistrationOfAScriptThatCannotBeRemoved)
{
    fs::create_directories(root_ / "folder" / "full");
    fs::create_symlink(root_ / "folder", inside("word.word"));
    EXPECT_NE(remove("word"), "");
    EXPECT_FALSE(fs::is_symlink(inside("word.word")));
    EXPECT_TRUE(fs::exists(root_ / "folder" / "full"));
    EXPECT_TRUE(store().registered("word"));
}

TEST_F(ScriptStore, ReadsARelativeLinkFromItsDirectory)
{
    write_file(inside("script"), "");
    fs::create_symlink("./script", inside("word.word"));
    EXPECT_EQ(remove("word"), "");
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(ScriptStore, CutsLongNamesWhereTheKindSaysSo)
{
    fs::create_symlink("script", inside(std::string(40, 'n') + ".word"));
    kind_.name_cut = "Name truncated\n";
    EXPECT_TRUE(store().registered(std::string(31, 'n')));
    EXPECT_FALSE(store().registered(std::string(40, 'n')));
}

/* A process is killed before each change of the directory in turn. */
class KilledScriptStore : public ScriptStore {
  protected:
    /* Whether it came to its end with @n_changes. */
    template <typename Act> static bool survives(int n_changes, Act act)
    {
        const pid_t child = fork();
        int status = 0;

        if (child == 0) {
            changes_left = n_changes;
            act();
            _exit(0);
        }
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status);
    }
    std::vector<std::string> files() const { return names_in(directory_); }

    using Names = std::vector<std::string>;
    const Names none{};
    const Names both{"source.sh", "word.word"};
};

TEST_F(KilledScriptStore, HasAScriptThatWasAddedWholeOrNotAtAll)
{
    int n_changes = 0;
    bool survived = false;

    for (; !survived; n_changes++) {
        survived = survives(n_changes, [this] { add("word", source()); });
        renew();
        EXPECT_EQ(files(), store().registered("word") ? both : none) << n_changes;
        if (store().registered("word")) {
            EXPECT_EQ(file_content(inside("source.sh")), "#!/bin/true\n");
            EXPECT_EQ(mode_of(inside("source.sh")), 0755U);
            EXPECT_EQ(remove("word"), "") << n_changes;
        }
        EXPECT_EQ(add("word", source()), "") << n_changes;
        EXPECT_EQ(remove("word"), "");
    }
    EXPECT_GT(n_changes, 7);
}

TEST_F(KilledScriptStore, HasAScriptThatWasRemovedWholeOrNotAtAll)
{
    int n_changes = 0;
    bool survived = false;

    for (; !survived; n_changes++) {
        EXPECT_EQ(add("word", source()), "");
        survived = survives(n_changes, [this] { remove("word"); });
        renew();
        EXPECT_EQ(files(), store().registered("word") ? both : none) << n_changes;
        if (store().registered("word")) {
            EXPECT_EQ(remove("word"), "") << n_changes;
        }
    }
    EXPECT_GT(n_changes, 4);
}

TEST_F(KilledScriptStore, HasAnAdoptedScriptInItsPlaceAllTheTime)
{
    int n_changes = 0;
    bool survived = false;

    for (; !survived; n_changes++) {
        fs::remove(root_ / "selected");
        fs::remove(inside("word.word"));
        write_file(inside("source.sh"), "#!/bin/true\n");
        survived = survives(n_changes, [this] {
            store().adopt(
                "word", source().c_str(), [this] { write_file(root_ / "selected", ""); }, nullptr);
        });
        renew();
        EXPECT_EQ(file_content(inside("source.sh")), "#!/bin/true\n") << n_changes;
        EXPECT_EQ(files(), store().registered("word") ? both : Names{"source.sh"}) << n_changes;
        if (store().registered("word")) {
            EXPECT_TRUE(fs::exists(root_ / "selected")) << n_changes;
        }
    }
    EXPECT_GT(n_changes, 6);
}

TEST_F(KilledScriptStore, LeavesAScriptThatSomebodyElsePutThere)
{
    EXPECT_EQ(add("word", source()), "");
    EXPECT_FALSE(survives(3, [this] { remove("word"); }));
    ASSERT_TRUE(fs::is_symlink(inside(".perimond-mark")));
    ASSERT_FALSE(fs::is_symlink(inside("word.word")));
    fs::rename(inside("source.sh"), inside("kept.sh")); // so that its inode is not given away
    fs::copy(source(), inside("source.sh"));
    renew();
    EXPECT_FALSE(store().registered("word"));
    EXPECT_EQ(files(), (Names{"kept.sh", "source.sh"}));
}

TEST_F(KilledScriptStore, PassesOverAMarkThatSaysNothing)
{
    for (const char *target : {"x", "a/", "a/12", "a/1/", "a/b/c/d", "r/1/word", "//////"}) {
        fs::create_symlink(target, inside(".perimond-mark"));
        write_file(inside("mine.sh"), "");
        renew();
        EXPECT_FALSE(store().registered("word"));
        EXPECT_EQ(files(), Names{"mine.sh"}) << target;
    }
}

} // namespace
