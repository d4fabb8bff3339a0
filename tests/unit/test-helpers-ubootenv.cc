#include "helpers/zolv-helpers-ubootenv.h"
#include "private-world.h"

#include <filesystem>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

/* The library leaks its buffer when it cannot store. */
extern "C" const char *
__lsan_default_suppressions()
{
    return "leak:libuboot_env_store";
}

namespace {

constexpr std::size_t environment_size = 0x2000;
const std::string config_path = "/etc/fw_env.config";
const std::string environment_path = "/sys/test/environment";

std::uint32_t
crc32(const std::string &data)
{
    std::uint32_t crc = 0xffffffff;

    for (const char byte : data) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; bit++)
            crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xedb88320U : 0U);
    }
    return ~crc;
}

/* An environment as the boot loader writes it: checksum, strings, zeros. */
void
put_environment(const std::map<std::string, std::string> &variables)
{
    std::string data;
    std::string sum(4, '\0');

    for (const auto &[name, value] : variables)
        data += name + "=" + value + '\0';
    data.resize(environment_size - sum.size(), '\0');
    const std::uint32_t crc = crc32(data);
    for (std::size_t i = 0; i < sum.size(); i++)
        sum[i] = static_cast<char>(crc >> (8 * i));
    put_file(environment_path, sum + data);
    put_file(config_path, environment_path + " 0x0 0x2000\n");
}

class UbootEnv : public PrivateWorld {
  protected:
    void SetUp() override
    {
        PrivateWorld::SetUp();
        put_environment({{"modelname", "UC-1"}, {"empty", ""}});
    }
    void TearDown() override
    {
        EXPECT_EQ(error, nullptr) << error->message;
        g_clear_error(&error);
    }
    gboolean get(const char *name)
    {
        dest[0] = '\0';
        return zolv_helper_get_ubootenv_variable(name, dest, &error);
    }
    void expect_error(const char *text)
    {
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->message, text);
        EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_FAILED));
        EXPECT_EQ(log(), Lines{});
        g_clear_error(&error);
    }

    char dest[ZOLV_UBOOTENV_VALUE_SIZE] = {};
    GError *error = nullptr;
};

TEST_F(UbootEnv, VariableIsRead)
{
    EXPECT_TRUE(get("modelname"));
    EXPECT_STREQ(dest, "UC-1");
    EXPECT_EQ(log(), Lines{"<debug> [UBOOTENV] Read ubootenv \"modelname\": \"UC-1\""});
}

TEST_F(UbootEnv, EmptyVariableIsASuccess)
{
    EXPECT_TRUE(get("empty"));
    EXPECT_STREQ(dest, "");
}

TEST_F(UbootEnv, MissingVariableFails)
{
    EXPECT_FALSE(get("none"));
    expect_error("read 'none' from ubootenv failed");
    EXPECT_FALSE(zolv_helper_get_ubootenv_variable("none", dest, nullptr));
}

TEST_F(UbootEnv, VariableThatDoesNotFitFails)
{
    put_environment({{"fits", std::string(255, 'v')}, {"long", std::string(256, 'v')}});
    EXPECT_TRUE(get("fits"));
    EXPECT_EQ(dest, std::string(255, 'v'));
    log();
    EXPECT_FALSE(get("long"));
    expect_error("read 'long' from ubootenv failed");
    EXPECT_STREQ(dest, "");
}

TEST_F(UbootEnv, ValueIsLoggedAsValidText)
{
    put_environment({{"name", "a\xff\n"}});
    EXPECT_TRUE(get("name"));
    EXPECT_STREQ(dest, "a\xff\n");
    EXPECT_EQ(log(), Lines{"<debug> [UBOOTENV] Read ubootenv \"name\": \"a\ufffd\\n\""});
}

TEST_F(UbootEnv, MissingConfigurationFails)
{
    fs::remove(config_path);
    EXPECT_FALSE(get("modelname"));
    expect_error("libubootenv read config file '/etc/fw_env.config' error");
    EXPECT_FALSE(zolv_helper_set_ubootenv_variable("modelname", "UC-2", &error));
    expect_error("libubootenv read config file '/etc/fw_env.config' error");
}

TEST_F(UbootEnv, DamagedEnvironmentFails)
{
    put_file(environment_path, std::string(environment_size, 'x'));
    EXPECT_FALSE(get("modelname"));
    expect_error("libubootenv open failed");
    EXPECT_FALSE(zolv_helper_set_ubootenv_variable("modelname", "UC-2", &error));
    expect_error("libubootenv open failed");
}

class UbootEnvLock : public UbootEnv {
  protected:
    void SetUp() override
    {
        UbootEnv::SetUp();
        fs::remove_all(lock);
    }
    void TearDown() override
    {
        fs::remove_all(lock);
        UbootEnv::TearDown();
    }
    /* Neither reading nor writing opens the environment. */
    void expect_refusal(const char *what)
    {
        const Lines line{"<error> [UBOOTENV] Lock '/var/lock/fw_printenv.lock' is not a regular "
                         "file of root's own"};

        EXPECT_FALSE(get("modelname")) << what;
        EXPECT_EQ(log(), line) << what;
        expect_error("libubootenv open failed");
        EXPECT_FALSE(zolv_helper_set_ubootenv_variable("modelname", "UC-2", &error)) << what;
        EXPECT_EQ(log(), line) << what;
        expect_error("libubootenv open failed");
        fs::remove_all(lock);
    }

    const std::string lock = "/run/lock/fw_printenv.lock";
    const std::string victim = "/run/lock/victim";
};

TEST_F(UbootEnvLock, IsMadeForRootAlone)
{
    EXPECT_TRUE(get("modelname"));
    EXPECT_EQ(mode_of(lock), 0600U);
    EXPECT_TRUE(get("modelname"));
}

TEST_F(UbootEnvLock, MayBeAnyFileOfRoots)
{
    put_file(lock, "4711\n");
    EXPECT_TRUE(get("modelname"));
}

TEST_F(UbootEnvLock, IsTakenFromAllOthersWhoCouldHoldIt)
{
    put_file(lock, "");
    for (const mode_t mode : {0644, 0620, 0604}) {
        ASSERT_EQ(chmod(lock.c_str(), mode), 0);
        EXPECT_TRUE(get("modelname"));
        EXPECT_EQ(mode_of(lock), 0600U);
    }
    EXPECT_EQ(chmod(lock.c_str(), 0400), 0);
    EXPECT_TRUE(get("modelname"));
    EXPECT_EQ(mode_of(lock), 0400U);
}

TEST_F(UbootEnvLock, IsNotALinkOrAnotherNameOfAFile)
{
    put_file(victim, "content");
    fs::create_symlink(victim, lock);
    expect_refusal("link");
    fs::create_symlink("/run/lock/nowhere", lock);
    expect_refusal("link to nowhere");
    EXPECT_FALSE(exists("/run/lock/nowhere"));
    fs::create_hard_link(victim, lock);
    expect_refusal("second name");
    EXPECT_EQ(file_content(victim), "content");
}

TEST_F(UbootEnvLock, IsNotAFifoThatTheStartWouldWaitFor)
{
    ASSERT_EQ(mkfifo(lock.c_str(), 0666), 0);
    expect_refusal("fifo");
    fs::create_directory(lock);
    expect_refusal("folder");
}

TEST_F(UbootEnvLock, IsNotAFileOfAnotherUser)
{
    put_file(lock, "");
    /* In a world of one user there is no other. */
    if (chown(lock.c_str(), 65534, 65534) == 0)
        expect_refusal("another user's file");
}

TEST_F(UbootEnv, VariableIsStored)
{
    EXPECT_TRUE(zolv_helper_set_ubootenv_variable("console", "1", &error));
    EXPECT_EQ(log(), Lines{"<debug> [UBOOTENV] Set ubootenv \"console\": \"1\""});
    EXPECT_TRUE(get("console"));
    EXPECT_STREQ(dest, "1");
    EXPECT_TRUE(get("modelname"));
    EXPECT_STREQ(dest, "UC-1");
}

TEST_F(UbootEnv, UnchangedVariableIsStoredAgain)
{
    const auto before = fs::last_write_time(environment_path) - std::chrono::seconds(10);

    fs::last_write_time(environment_path, before);
    EXPECT_TRUE(zolv_helper_set_ubootenv_variable("modelname", "UC-1", &error));
    EXPECT_GT(fs::last_write_time(environment_path), before);
}

TEST_F(UbootEnv, NameThatCannotBeSetFails)
{
    EXPECT_FALSE(zolv_helper_set_ubootenv_variable("a=b", "1", &error));
    expect_error("set 'a=b' to '1' for ubootenv failed");
}

TEST_F(UbootEnv, EnvironmentThatCannotBeStoredFails)
{
    put_environment({});
    EXPECT_FALSE(zolv_helper_set_ubootenv_variable(
        "long", std::string(environment_size, 'v').c_str(), &error));
    expect_error("store ubootenv failed");
}

TEST_F(UbootEnv, NoFileDescriptorStaysOpen)
{
    const auto before = names_in("/proc/self/fd").size();

    get("modelname");
    zolv_helper_get_ubootenv_variable("none", dest, nullptr);
    zolv_helper_set_ubootenv_variable("modelname", "UC-2", nullptr);
    zolv_helper_set_ubootenv_variable("a=b", "1", nullptr);
    zolv_helper_set_ubootenv_variable("long", std::string(environment_size, 'v').c_str(), nullptr);
    put_file(environment_path, "");
    zolv_helper_get_ubootenv_variable("modelname", dest, nullptr);
    fs::remove(config_path);
    zolv_helper_get_ubootenv_variable("modelname", dest, nullptr);
    EXPECT_EQ(names_in("/proc/self/fd").size(), before);
}

} // namespace
