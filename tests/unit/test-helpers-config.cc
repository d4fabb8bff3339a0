#include "helpers/zolv-helpers-config.h"
#include "helpers/zolv-helpers-luks-key.h"
#include "helpers/zolv-helpers-store.h"
#include "private-world.h"
#include "tvl-log.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <random>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> *synced = nullptr;

} // namespace

/* Stands before the C library's; notes what is synced by the name that it has then. */
extern "C" int
fsync(int fd)
{
    if (synced != nullptr)
        synced->push_back(fs::read_symlink("/proc/self/fd/" + std::to_string(fd)));
    return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace {

const std::string folder = "/etc/tarvel/TarvelPerimond";
const std::string settings = folder + "/peripheral-settings.conf";
const std::string damaged = settings + ".damaged";
const std::string unfinished = folder + "/.perimond-unfinished";

const char no_file_warning[] = "<warn>  [Config] Failed to load config file: "
                               "No such file or directory";
const char garbage_warning[] =
    "<warn>  [Config] Failed to load config file: Key file contains "
    "line \u201cgarbage\u201d which is not a key-value pair, group, or comment";
const char kept_warning[] = "<warn>  [Config] Kept damaged config file as "
                            "'/etc/tarvel/TarvelPerimond/peripheral-settings.conf.damaged'";

class Config : public PrivateWorld {
  protected:
    void expect_read_warning()
    {
        const Lines lines = log();

        ASSERT_EQ(lines.size(), 1U);
        EXPECT_TRUE(lines[0].starts_with("<warn>  [Config] Failed to read property from config "
                                         "file: "))
            << lines[0];
    }
};

TEST_F(Config, FreshSystemHasNoSettings)
{
    guint number = 9;
    gboolean truth = 9;
    char text[] = "unset";

    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "Key", &number));
    EXPECT_EQ(log(), Lines{no_file_warning});
    EXPECT_FALSE(zolv_helper_config_get_gboolean("LED/L", "Key", &truth));
    EXPECT_EQ(log(), Lines{no_file_warning});
    EXPECT_FALSE(zolv_helper_config_get_string("LED/L", "Key", text, 1));
    EXPECT_EQ(log(), Lines{no_file_warning});
    EXPECT_STREQ(text, "unset");
    EXPECT_FALSE(exists("/etc/tarvel"));
}

TEST_F(Config, FirstSetMakesFolderAndFile)
{
    zolv_helper_config_set_guint("Disk/SD", "Key", 5);
    EXPECT_EQ(log(), Lines{no_file_warning});
    EXPECT_EQ(file_content(settings), "[Disk/SD]\nKey=5\n");
    EXPECT_EQ(mode_of(folder), 0755U);
    EXPECT_EQ(mode_of(settings), 0644U);
    EXPECT_EQ(names_in(folder), Lines{"peripheral-settings.conf"});
}

TEST_F(Config, FirstSetInAnExistingFolderMakesTheFile)
{
    fs::create_directories(folder);
    zolv_helper_config_set_guint("Disk/SD", "Key", 5);
    EXPECT_EQ(file_content(settings), "[Disk/SD]\nKey=5\n");
}

TEST_F(Config, NumbersReadBackAsTheyWereSet)
{
    for (const guint number : {0U, 1U, 2147483647U, 2147483648U, 4294967295U}) {
        guint read_back = 9;
        zolv_helper_config_set_guint("DIO/D", "Event", number);
        EXPECT_TRUE(zolv_helper_config_get_guint("DIO/D", "Event", &read_back));
        EXPECT_EQ(read_back, number);
    }
}

TEST_F(Config, TruthValuesReadBackAsTheyWereSet)
{
    for (const gboolean truth : {1, 0}) {
        gboolean read_back = 9;
        zolv_helper_config_set_gboolean("Disk/SD", "AutoMount", truth);
        EXPECT_TRUE(zolv_helper_config_get_gboolean("Disk/SD", "AutoMount", &read_back));
        EXPECT_EQ(read_back, truth);
        EXPECT_EQ(file_content(settings),
                  std::string("[Disk/SD]\nAutoMount=") + (truth ? "true" : "false") + "\n");
    }
}

TEST_F(Config, StringsReadBackAsTheyWereSet)
{
    for (const char *text :
         {"", "plain", " two  blanks ", "line\nand\ttab", "back\\slash", "gr\u00fcn;"}) {
        char read_back[64] = "unset";
        zolv_helper_config_set_string("Button/B", "Action", text);
        EXPECT_TRUE(zolv_helper_config_get_string("Button/B", "Action", read_back, 15));
        EXPECT_STREQ(read_back, text);
    }
}

TEST_F(Config, StringIsCutAfterSoManyCharactersNotBytes)
{
    char text[4 * 3 + 1] = "";

    zolv_helper_config_set_string("Button/B", "Action", "\u00e4\U0001f600cdef");
    EXPECT_TRUE(zolv_helper_config_get_string("Button/B", "Action", text, 3));
    EXPECT_STREQ(text, "\u00e4\U0001f600c");
}

TEST_F(Config, StringMayBeUnwanted)
{
    zolv_helper_config_set_string("Button/B", "Action", "reboot");
    EXPECT_TRUE(zolv_helper_config_get_string("Button/B", "Action", nullptr, 31));
    EXPECT_FALSE(zolv_helper_config_get_string("Button/B", "None", nullptr, 31));
}

TEST_F(Config, MissingGroupOrKeyGivesZeroAndAWarning)
{
    put_file(settings, "[LED/L]\nOther=1\n");
    for (const char *group : {"LED/L", "LED/None"}) {
        guint number = 9;
        gboolean truth = 9;
        char text[] = "unset";
        EXPECT_FALSE(zolv_helper_config_get_guint(group, "Key", &number));
        expect_read_warning();
        EXPECT_FALSE(zolv_helper_config_get_gboolean(group, "Key", &truth));
        expect_read_warning();
        EXPECT_FALSE(zolv_helper_config_get_string(group, "Key", text, 1));
        expect_read_warning();
        EXPECT_EQ(number, 0U);
        EXPECT_EQ(truth, FALSE);
        EXPECT_STREQ(text, "unset");
    }
}

TEST_F(Config, ValueOfTheWrongFormGivesZeroAndAWarning)
{
    guint number = 9;
    gboolean truth = 9;
    char text[] = "unset";

    put_file(settings, "[LED/L]\nNumber=many\nHuge=99999999999\nTruth=perhaps\nText=\xff\n");
    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "Number", &number));
    expect_read_warning();
    EXPECT_EQ(number, 0U);
    number = 9;
    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "Huge", &number));
    expect_read_warning();
    EXPECT_EQ(number, 0U);
    EXPECT_FALSE(zolv_helper_config_get_gboolean("LED/L", "Truth", &truth));
    expect_read_warning();
    EXPECT_EQ(truth, FALSE);
    EXPECT_FALSE(zolv_helper_config_get_string("LED/L", "Text", text, 5));
    expect_read_warning();
    EXPECT_STREQ(text, "unset");
}

TEST_F(Config, SetKeepsWhatElseIsInTheFile)
{
    put_file(settings, "# by hand\n\n[LED/L]\n#why\nA=1\nName[de]=gr\u00fcn\n\n[DIO/D]\nB=2\n");
    zolv_helper_config_set_guint("LED/L", "A", 3);
    EXPECT_EQ(file_content(settings),
              "# by hand\n\n[LED/L]\n#why\nA=3\nName[de]=gr\u00fcn\n\n[DIO/D]\nB=2\n");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Config, EditFromOutsideCounts)
{
    guint number = 9;

    zolv_helper_config_set_guint("LED/L", "A", 3);
    put_file(settings, "[LED/L]\nA=4\n");
    EXPECT_TRUE(zolv_helper_config_get_guint("LED/L", "A", &number));
    EXPECT_EQ(number, 4U);
}

TEST_F(Config, EmptyFileIsAFileWithoutSettings)
{
    guint number = 9;

    put_file(settings, "");
    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "A", &number));
    expect_read_warning();
    zolv_helper_config_set_guint("LED/L", "A", 3);
    EXPECT_EQ(file_content(settings), "[LED/L]\nA=3\n");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Config, GetLeavesADamagedFileAlone)
{
    const std::string content = "[LED/L]\nA=1\ngarbage\nB=2\n";
    guint number = 9;

    put_file(settings, content);
    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "A", &number));
    EXPECT_EQ(log(), Lines{garbage_warning});
    EXPECT_EQ(file_content(settings), content);
    EXPECT_EQ(names_in(folder), Lines{"peripheral-settings.conf"});
}

TEST_F(Config, SetStartsAnewAfterADamagedFileAndKeepsIt)
{
    const std::string content = "[LED/L]\nA=1\ngarbage\nB=2\n";

    put_file(settings, content);
    put_file(damaged, "an older one");
    zolv_helper_config_set_guint("LED/L", "C", 3);
    EXPECT_EQ(log(), (Lines{garbage_warning, kept_warning}));
    EXPECT_EQ(file_content(settings), "[LED/L]\nC=3\n");
    EXPECT_EQ(file_content(damaged), content);

    zolv_helper_config_set_guint("LED/L", "C", 4);
    EXPECT_EQ(log(), Lines{});
    EXPECT_EQ(file_content(damaged), content);
}

TEST_F(Config, GarbageIsLoggedAsOneLineOfValidText)
{
    guint number = 9;

    put_file(settings, "\xff\x1b[2J\x01\n");
    EXPECT_FALSE(zolv_helper_config_get_guint("LED/L", "A", &number));
    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(g_utf8_validate(lines[0].c_str(), -1, nullptr));
    EXPECT_EQ(lines[0].find('\x1b'), std::string::npos);
}

TEST_F(Config, WhateverLiesInTheFilesPlaceIsKeptAndReplaced)
{
    const auto expect_new_file = [this](const char *reason) {
        EXPECT_EQ(log(),
                  (Lines{std::string("<warn>  [Config] Failed to load config file: ") + reason,
                         kept_warning}));
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(settings)));
        EXPECT_EQ(file_content(settings), "[LED/L]\nA=1\n");
        EXPECT_TRUE(exists(damaged));
        fs::remove_all(folder);
        fs::create_directories(folder);
    };

    fs::create_directories(settings);
    zolv_helper_config_set_guint("LED/L", "A", 1);
    expect_new_file("Not a regular file");

    mkfifo(settings.c_str(), 0600);
    zolv_helper_config_set_guint("LED/L", "A", 1);
    expect_new_file("Not a regular file");

    put_file(settings, "");
    fs::resize_file(settings, (1 << 20) + 1);
    zolv_helper_config_set_guint("LED/L", "A", 1);
    expect_new_file("File too large");

    fs::create_symlink(settings, settings);
    zolv_helper_config_set_guint("LED/L", "A", 1);
    expect_new_file("Too many levels of symbolic links");
}

TEST_F(Config, FailedSaveIsLoggedAndLeavesTheFile)
{
    const std::string content = "[LED/L]\nA=1\n";

    put_file(settings, content);
    ASSERT_EQ(mount(folder.c_str(), folder.c_str(), "none", MS_BIND, nullptr), 0);
    ASSERT_EQ(mount("none", folder.c_str(), "none", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    zolv_helper_config_set_guint("LED/L", "A", 2);
    umount(folder.c_str());

    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("<warn>  [Config] Failed to write config file: ")) << lines[0];
    EXPECT_EQ(file_content(settings), content);
    EXPECT_EQ(names_in(folder), Lines{"peripheral-settings.conf"});
}

TEST_F(Config, FolderThatCannotBeMadeIsAFailedSave)
{
    put_file("/etc/tarvel", "in the way");
    zolv_helper_config_set_guint("LED/L", "A", 2);

    const Lines lines = log();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "<warn>  [Config] Failed to load config file: Not a directory");
    EXPECT_EQ(lines[1], "<warn>  [Config] Failed to keep damaged config file: Not a directory");
    EXPECT_TRUE(lines[2].starts_with("<warn>  [Config] Failed to write config file: ")) << lines[2];
    EXPECT_EQ(file_content("/etc/tarvel"), "in the way");
}

/* What @act syncs beside the log, by the name that it has then. */
template <typename Act>
std::vector<std::string>
synced_by(Act act)
{
    std::vector<std::string> paths;

    synced = &paths;
    act();
    synced = nullptr;
    std::erase_if(paths, [](const std::string &path) { return path.starts_with("/sys/"); });
    return paths;
}

TEST_F(Config, FirstSettingIsSyncedAndThenItsName)
{
    const auto set = [] { zolv_helper_config_set_guint("Disk/SD", "Key", 5); };
    const Lines file_and_folder{unfinished, folder};

    EXPECT_EQ(synced_by(set), file_and_folder) << "without a folder";
    fs::remove(settings);
    EXPECT_EQ(synced_by(set), file_and_folder) << "in a folder without a file";
    put_file(settings, "");
    EXPECT_EQ(synced_by(set), file_and_folder) << "in an empty file";
}

TEST_F(Config, LaterSettingIsSyncedBeforeItReplacesTheOld)
{
    put_file(settings, "[LED/L]\nA=1\n");
    EXPECT_EQ(synced_by([] { zolv_helper_config_set_guint("LED/L", "A", 2); }),
              (Lines{unfinished, folder}));
}

TEST_F(Config, SettingThatIsThereAlreadyIsNotWritten)
{
    const std::string text = "[LED/L]\nNumber=1\nTruth=true\nText=a b\n";
    const auto set = [] {
        zolv_helper_config_set_guint("LED/L", "Number", 1);
        zolv_helper_config_set_gboolean("LED/L", "Truth", TRUE);
        zolv_helper_config_set_string("LED/L", "Text", "a b");
    };
    struct stat before = {};
    struct stat after = {};

    put_file(settings, text);
    ASSERT_EQ(stat(settings.c_str(), &before), 0);
    EXPECT_EQ(synced_by(set), Lines{});
    ASSERT_EQ(stat(settings.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
    EXPECT_EQ(file_content(settings), text);
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Config, SecondDamageWhoseSaveFailsLeavesTheFileItsName)
{
    const std::string content = "[LED/L]\nA=1\ngarbage\n";

    put_file(damaged, "the first damage");
    put_file(settings, content);
    put_file(unfinished + "/full", ""); // nothing can be written aside
    zolv_helper_config_set_guint("LED/L", "A", 2);
    EXPECT_EQ(log(), (Lines{garbage_warning, kept_warning,
                            "<warn>  [Config] Failed to write config file: File exists"}));
    EXPECT_EQ(file_content(settings), content);
    EXPECT_EQ(file_content(damaged), content);
}

/* A writer is killed, again and again, while it counts a setting up. */
class KilledWriter : public Config {
  protected:
    void SetUp() override
    {
        Config::SetUp();
        tvl_log_set_level("ERR");
        done = static_cast<std::atomic<guint> *>(
            mmap(nullptr, sizeof *done, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        ASSERT_NE(done, MAP_FAILED);
    }
    void TearDown() override { munmap(done, sizeof *done); }

    pid_t start_writer()
    {
        const pid_t writer = fork();

        if (writer == 0) {
            for (guint count = *done + 1;; count++) {
                zolv_helper_config_set_guint("DIO/Counter", "Count", count);
                *done = count;
            }
        }
        return writer;
    }
    static void kill_writer(pid_t writer, int after_us)
    {
        ASSERT_GT(writer, 0);
        usleep(static_cast<useconds_t>(after_us));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }

    std::atomic<guint> *done = nullptr;
};

TEST_F(KilledWriter, LeavesTheOldFileOrTheNewOne)
{
    std::minstd_rand random(20241); // the moments differ anyway
    std::uniform_int_distribution<int> delay_us(0, 3000);
    std::string padding;

    /* Enough to be killed amidst. */
    for (int i = 0; i < 500; i++)
        padding += "Key" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    put_file(settings, "[Disk/Before]\n" + padding + "\n[DIO/Counter]\nCount=0\n");

    for (int i = 0; i < 300; i++) {
        guint count = 0;
        guint last = 0;
        const guint before = *done;
        const pid_t writer = start_writer();
        while (writer > 0 && *done == before)
            usleep(50);
        kill_writer(writer, delay_us(random));
        ASSERT_TRUE(zolv_helper_config_get_guint("DIO/Counter", "Count", &count));
        ASSERT_TRUE(zolv_helper_config_get_guint("Disk/Before", "Key499", &last));
        ASSERT_GE(count, done->load());
        ASSERT_LE(count, done->load() + 1);
        ASSERT_EQ(last, 499U);
        ASSERT_FALSE(exists(damaged));
        *done = count;
    }
    EXPECT_LE(names_in(folder).size(), 2U);
    zolv::sweep_leftovers();
    EXPECT_EQ(names_in(folder), Lines{"peripheral-settings.conf"});
}

TEST_F(KilledWriter, OfTheFirstSettingLeavesNoFileOrOneThatLoads)
{
    std::minstd_rand random(20242);
    std::uniform_int_distribution<int> delay_us(100, 600);

    for (int i = 0; i < 100; i++) {
        *done = 0;
        fs::remove_all("/etc/tarvel");
        kill_writer(start_writer(), delay_us(random));
        zolv_helper_config_set_gboolean("LED/L", "A", TRUE);
        ASSERT_FALSE(exists(damaged));
    }
}

const std::string uuid = "6f1c2d3e-4b5a-6978-8796-a5b4c3d2e1f0";
const std::string key_folder = folder + "/luks";
const std::string key_path = key_folder + "/" + uuid;

class LuksKey : public PrivateWorld {
  protected:
    void TearDown() override { g_free(key); }
    gboolean get(const std::string &name = uuid)
    {
        g_clear_pointer(&key, g_free);
        return zolv_helper_luks_get_key(name.c_str(), &key);
    }
    static std::string missing(const std::string &path)
    {
        return "<warn>  [CONFIG/LUKS] luks file not exist: " + path;
    }

    gchar *key = nullptr;
};

TEST_F(LuksKey, ReadsBackAsItWasSet)
{
    zolv_helper_luks_set_key(uuid.c_str(), "pass phrase");
    EXPECT_EQ(log(), Lines{});
    EXPECT_EQ(file_content(key_path), "pass phrase");
    EXPECT_EQ(mode_of(key_path), 0640U);
    EXPECT_EQ(mode_of(key_folder), 0640U);
    EXPECT_EQ(mode_of(folder), 0640U) << "a parent that was missing";
    EXPECT_TRUE(get());
    EXPECT_STREQ(key, "pass phrase");
}

TEST_F(LuksKey, SaveThatWasCutShortIsNoObstacle)
{
    put_file(key_folder + "/.perimond-unfinished", "secr");
    zolv_helper_luks_set_key(uuid.c_str(), "key");
    EXPECT_EQ(log(), Lines{});
    EXPECT_EQ(names_in(key_folder), Lines{uuid});
}

TEST_F(LuksKey, SecondKeyReplacesTheFirst)
{
    zolv_helper_luks_set_key(uuid.c_str(), "a long first key");
    zolv_helper_luks_set_key(uuid.c_str(), "second");
    EXPECT_EQ(file_content(key_path), "second");
    EXPECT_EQ(names_in(key_folder), Lines{uuid});
}

TEST_F(LuksKey, IsSyncedAndThenItsName)
{
    for (const char *text : {"", "first", "second"})
        EXPECT_EQ(synced_by([text] { zolv_helper_luks_set_key(uuid.c_str(), text); }),
                  (Lines{key_folder + "/.perimond-unfinished", key_folder}))
            << text;
}

TEST_F(LuksKey, ThatIsThereAlreadyIsNotWritten)
{
    const auto set = [] { zolv_helper_luks_set_key(uuid.c_str(), "pass phrase"); };
    const Lines written{key_folder + "/.perimond-unfinished", key_folder};

    set();
    EXPECT_EQ(synced_by(set), Lines{});
    ASSERT_EQ(chmod(key_path.c_str(), 0644), 0);
    EXPECT_EQ(synced_by(set), written);
    EXPECT_EQ(mode_of(key_path), 0640U);
    fs::rename(key_path, folder + "/elsewhere");
    fs::create_symlink(folder + "/elsewhere", key_path);
    EXPECT_EQ(synced_by(set), written);
    EXPECT_FALSE(fs::is_symlink(key_path));
}

TEST_F(LuksKey, MayBeEmpty)
{
    zolv_helper_luks_set_key(uuid.c_str(), "");
    EXPECT_TRUE(get());
    EXPECT_STREQ(key, "");
}

TEST_F(LuksKey, OfAnUnknownVolumeDoesNotExist)
{
    EXPECT_FALSE(get());
    EXPECT_EQ(log(), Lines{missing(key_path)});
    EXPECT_EQ(key, nullptr);
    put_file(key_folder, "in the way");
    EXPECT_FALSE(get());
    EXPECT_EQ(log(), Lines{missing(key_path)});
}

TEST_F(LuksKey, NameThatIsNoCanonicalUuidNeverBecomesAPath)
{
    put_file(folder + "/evil", "stolen");
    put_file(key_folder + "/short", "stolen");
    for (const std::string name :
         {"../evil", "short", "", "/etc/passwd", "6f1c2d3e4b5a69788796a5b4c3d2e1f0",
          "{6f1c2d3e-4b5a-6978-8796-a5b4c3d2e1f0}", "6f1c2d3e-4b5a-6978-8796-a5b4c3d2e1f0 ",
          "6f1c2d3e-4b5a-6978-8796-a5b4c3d2e1fg"}) {
        EXPECT_FALSE(get(name)) << name;
        EXPECT_EQ(log().size(), 1U);
        zolv_helper_luks_set_key(name.c_str(), "overwritten");
        EXPECT_EQ(log(), Lines{"<warn>  [CONFIG/LUKS] Failed to write luks file: '" + name +
                               "' is not a UUID"});
    }
    EXPECT_EQ(file_content(folder + "/evil"), "stolen");
    EXPECT_EQ(names_in(key_folder), Lines{"short"});
    get("../evil");
    EXPECT_EQ(log(), Lines{missing(key_folder + "/../evil")});
}

TEST_F(LuksKey, NameFromTheMediumIsLoggedAsValidText)
{
    EXPECT_FALSE(get("\xff\n"));
    EXPECT_EQ(log(), Lines{missing(key_folder + "/\ufffd\\n")});
    EXPECT_FALSE(zolv_helper_luks_get_key(nullptr, &key));
    zolv_helper_luks_set_key(nullptr, "key");
    EXPECT_EQ(log().size(), 2U);
}

TEST_F(LuksKey, IsARegularFileOfBoundedSize)
{
    const auto expect_failure = [this](const std::string &reason) {
        EXPECT_FALSE(get());
        EXPECT_EQ(log(), Lines{"<warn>  [CONFIG/LUKS] Failed to read luks file: '" + key_path +
                               "': " + reason});
        fs::remove_all(key_path);
    };

    put_file(folder + "/elsewhere", "secret");
    fs::create_directories(key_folder);
    fs::create_symlink(folder + "/elsewhere", key_path);
    expect_failure("Too many levels of symbolic links");
    mkfifo(key_path.c_str(), 0600);
    expect_failure("Not a regular file");
    fs::create_directory(key_path);
    expect_failure("Not a regular file");
    put_file(key_path, std::string(65537, 'k'));
    expect_failure("File too large");
    put_file(key_path, std::string(65536, 'k'));
    EXPECT_TRUE(get());
    EXPECT_EQ(strlen(key), 65536U);
}

TEST_F(LuksKey, ThatCouldNotBeReadBackIsRefused)
{
    zolv_helper_luks_set_key(uuid.c_str(), std::string(65536, 'k').c_str());
    EXPECT_EQ(log(), Lines{});
    zolv_helper_luks_set_key(uuid.c_str(), std::string(65537, 'x').c_str());
    EXPECT_EQ(log(), Lines{"<warn>  [CONFIG/LUKS] Failed to write luks file: File too large"});
    EXPECT_EQ(file_content(key_path), std::string(65536, 'k'));
}

TEST_F(LuksKey, SetReplacesALinkAndNotWhatItLeadsTo)
{
    put_file(folder + "/elsewhere", "secret");
    fs::create_directories(key_folder);
    fs::create_symlink(folder + "/elsewhere", key_path);
    zolv_helper_luks_set_key(uuid.c_str(), "key");
    EXPECT_EQ(file_content(folder + "/elsewhere"), "secret");
    EXPECT_TRUE(get());
}

TEST_F(LuksKey, FolderThatCannotBeMadeIsLogged)
{
    put_file(key_folder, "in the way");
    zolv_helper_luks_set_key(uuid.c_str(), "key");
    EXPECT_EQ(log(), Lines{"<warn>  [CONFIG/LUKS] Failed to mkdir: " + key_folder});
}

TEST_F(LuksKey, FailedWriteIsLogged)
{
    fs::create_directories(key_path);
    zolv_helper_luks_set_key(uuid.c_str(), "key");
    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("<warn>  [CONFIG/LUKS] Failed to write luks file: "));
    EXPECT_EQ(lines[0].find("'key'"), std::string::npos);
}

TEST_F(PrivateWorld, SweepRemovesTheDaemonsOwnTemporaryFilesOnly)
{
    const Lines kept = {".perimond-unfinished.mine", "luks", "peripheral-settings.conf",
                        "peripheral-settings.conf.A1B2C3", "peripheral-settings.conf.damaged"};
    const Lines kept_keys = {uuid, uuid + ".A1B2C3"};

    for (const std::string &name : kept)
        if (name != "luks")
            put_file(folder + "/" + name, "");
    for (const std::string &name : kept_keys)
        put_file(key_folder + "/" + name, "");
    put_file(unfinished, "[LED");
    put_file(key_folder + "/.perimond-unfinished", "secr");
    zolv::sweep_leftovers();
    EXPECT_EQ(names_in(folder), kept);
    EXPECT_EQ(names_in(key_folder), kept_keys);
    EXPECT_EQ(log(), (Lines{"<info>  [Config] Removed unfinished file '" + unfinished + "'",
                            "<info>  [Config] Removed unfinished file '" + key_folder +
                                "/.perimond-unfinished'"}));
}

TEST_F(PrivateWorld, SweepOfWhatIsNoFileIsLogged)
{
    put_file(unfinished + "/full", "");
    zolv::sweep_leftovers();
    EXPECT_EQ(log(), Lines{"<warn>  [Config] Failed to remove unfinished file '" + unfinished +
                           "': Is a directory"});
}

TEST_F(PrivateWorld, SweepOfAFreshSystemDoesNothing)
{
    zolv::sweep_leftovers();
    EXPECT_EQ(log(), Lines{});
}

} // namespace
