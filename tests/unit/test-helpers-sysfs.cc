#include "helpers/zolv-helpers-modprobe.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "helpers/zolv-helpers-sysfs-i2c.h"
#include "helpers/zolv-helpers-sysfs-led.h"
#include "helpers/zolv-helpers-sysfs-pwm.h"
#include "private-world.h"
#include "tvl-log.h"

#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/* Plain files stand for the attributes. The log tells which were read and written, in order. */
class Sysfs : public PrivateWorld {
  protected:
    explicit Sysfs(std::string folder) : folder_(std::move(folder)) {}

    void TearDown() override
    {
        EXPECT_EQ(error, nullptr) << error->message;
        g_clear_error(&error);
    }
    void put(const std::string &attribute, const std::string &value)
    {
        put_file(folder_ + attribute, value);
    }
    std::string read_line(const std::string &value, const std::string &attribute)
    {
        return "<debug> [Common] Read \"" + value + "\" from file \"" + folder_ + attribute + "\"";
    }
    std::string write_line(const std::string &value, const std::string &attribute)
    {
        return "<debug> [Common] Write \"" + value + "\" to file \"" + folder_ + attribute + "\"";
    }
    void expect_error(const std::string &what, const std::string &attribute,
                      const std::string &text)
    {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->message, what + " '" + folder_ + attribute + "' failed: " + text);
        EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_FAILED));
        g_clear_error(&error);
    }

    GError *error = nullptr;

  private:
    std::string folder_;
};

constexpr char not_reached[] = "code should not be reached";
constexpr char no_file[] = "No such file or directory";
constexpr char no_space[] = "No space left on device";

class Gpio : public Sysfs {
  protected:
    Gpio() : Sysfs("/sys/class/gpio/") {}
    void put_line(const char *direction, const char *value, const char *active_low)
    {
        put("gpio7/direction", std::string(direction) + "\n");
        put("gpio7/value", std::string(value) + "\n");
        put("gpio7/active_low", std::string(active_low) + "\n");
    }
};

using GpioDeathTest = Gpio;

TEST_F(Gpio, FlagsAndDirectionAreReadWithoutTheirNewline)
{
    guint value = 9;

    put_line("in", "1", "0");
    EXPECT_TRUE(zolv_helper_get_sysfs_gpio_value(7, &value, &error));
    EXPECT_EQ(value, 1U);
    EXPECT_TRUE(zolv_helper_get_sysfs_gpio_active_low(7, &value, &error));
    EXPECT_EQ(value, 0U);
    value = 9;
    EXPECT_TRUE(zolv_helper_get_sysfs_gpio_direction(7, &value, &error));
    EXPECT_EQ(value, guint{GPIO_DIRECTION_IN});
    put("gpio7/direction", "OUT\n");
    EXPECT_TRUE(zolv_helper_get_sysfs_gpio_direction(7, &value, &error));
    EXPECT_EQ(value, guint{GPIO_DIRECTION_OUT});
    EXPECT_EQ(log(),
              (Lines{read_line("1", "gpio7/value"), read_line("0", "gpio7/active_low"),
                     read_line("in\\n", "gpio7/direction"), read_line("OUT", "gpio7/direction")}));
}

TEST_F(Gpio, LineThatIsNotThereIsExportedByEachOperation)
{
    guint value = 9;
    const Lines exported = {write_line("7", "export")};

    put("export", "");
    EXPECT_FALSE(zolv_helper_get_sysfs_gpio_value(7, &value, &error));
    expect_error("open", "gpio7/value", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_value(7, 1, &error));
    expect_error("open", "gpio7/direction", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_get_sysfs_gpio_direction(7, &value, &error));
    expect_error("open", "gpio7/direction", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_direction(7, GPIO_DIRECTION_IN, &error));
    expect_error("open", "gpio7/direction", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_get_sysfs_gpio_active_low(7, &value, &error));
    expect_error("open", "gpio7/active_low", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_active_low(7, 1, &error));
    expect_error("open", "gpio7/active_low", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_EQ(value, 9U);
}

TEST_F(Gpio, NumberIsSigned)
{
    guint value = 9;

    put("export", "");
    put("gpio-1/direction", "out\n"); /* all but the value */
    EXPECT_TRUE(zolv_helper_get_sysfs_gpio_direction(-1, &value, &error));
    EXPECT_EQ(log(), (Lines{write_line("-1", "export"), read_line("out", "gpio-1/direction")}));
    EXPECT_FALSE(zolv_helper_get_sysfs_gpio_direction(G_MININT, &value, &error));
    expect_error("open", "gpio-2147483648/direction", no_file);
    EXPECT_EQ(log(), Lines{write_line("-2147483648", "export")});
}

TEST_F(Gpio, FailedExportEndsTheOperation)
{
    guint value = 9;

    put_full_device("/sys/class/gpio/export");
    put("gpio7/direction", "out\n"); /* all but the value */
    put("gpio7/active_low", "0\n");
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_active_low(7, 1, &error));
    expect_error("write", "export", no_space);
    EXPECT_FALSE(zolv_helper_get_sysfs_gpio_direction(7, &value, &error));
    expect_error("write", "export", no_space);
    EXPECT_EQ(log(), Lines{});
    EXPECT_EQ(value, 9U);
}

TEST_F(Gpio, ExportedLineIsNotExportedAgain)
{
    put_full_device("/sys/class/gpio/export");
    put_line("out", "0", "0");
    EXPECT_TRUE(zolv_helper_set_sysfs_gpio_value(7, 1, &error));
}

TEST_F(Gpio, OutputIsDrivenByItsValue)
{
    for (const guint value : {0U, 1U}) {
        put_line("out", "0", "1"); /* the kernel sees to the polarity */
        EXPECT_TRUE(zolv_helper_set_sysfs_gpio_value(7, value, &error));
        EXPECT_EQ(log(), (Lines{read_line("out", "gpio7/direction"),
                                write_line(std::to_string(value), "gpio7/value")}));
    }
}

struct Level {
    guint value;
    const char *active_low;
    const char *word;
};

constexpr Level levels[] = {{0, "0", "low"}, {1, "0", "high"}, {0, "1", "high"}, {1, "1", "low"}};

TEST_F(Gpio, InputThatIsGivenAValueBecomesAnOutputOfThatLevel)
{
    for (const auto &[value, active_low, word] : levels) {
        put_line("in", "0", active_low);
        EXPECT_TRUE(zolv_helper_set_sysfs_gpio_value(7, value, &error));
        EXPECT_EQ(log(), (Lines{read_line("in\\n", "gpio7/direction"),
                                read_line(active_low, "gpio7/active_low"),
                                write_line(word, "gpio7/direction")}));
    }
}

TEST_F(Gpio, InputThatBecomesAnOutputKeepsItsLevel)
{
    for (const auto &[value, active_low, word] : levels) {
        put_line("in", std::to_string(value).c_str(), active_low);
        EXPECT_TRUE(zolv_helper_set_sysfs_gpio_direction(7, GPIO_DIRECTION_OUT, &error));
        EXPECT_EQ(log(), (Lines{read_line(std::to_string(value), "gpio7/value"),
                                read_line(active_low, "gpio7/active_low"),
                                write_line(word, "gpio7/direction")}));
    }
}

TEST_F(Gpio, OutputBecomesAnInputByOneWrite)
{
    put_line("out", "1", "0");
    EXPECT_TRUE(zolv_helper_set_sysfs_gpio_direction(7, GPIO_DIRECTION_IN, &error));
    EXPECT_EQ(log(), Lines{write_line("in", "gpio7/direction")});
}

TEST_F(Gpio, OnlyOneIsActiveLow)
{
    put_line("in", "0", "0");
    for (const auto &[active_low, digit] : {std::pair(0U, "0"), {1U, "1"}, {2U, "0"}}) {
        EXPECT_TRUE(zolv_helper_set_sysfs_gpio_active_low(7, active_low, &error));
        EXPECT_EQ(log(), Lines{write_line(digit, "gpio7/active_low")});
    }
}

TEST_F(Gpio, NothingIsWrittenAfterAFailedRead)
{
    put_line("in", "0", "0");
    fs::remove("/sys/class/gpio/gpio7/active_low");
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_value(7, 1, &error));
    expect_error("open", "gpio7/active_low", no_file);
    EXPECT_FALSE(zolv_helper_set_sysfs_gpio_direction(7, GPIO_DIRECTION_OUT, &error));
    expect_error("open", "gpio7/active_low", no_file);
    EXPECT_EQ(file_content("/sys/class/gpio/gpio7/direction"), "in\n");
}

TEST_F(GpioDeathTest, ValuesOtherThanZeroAndOneAbort)
{
    guint value = 0;

    put_line("both", "2", "x");
    EXPECT_DEATH(zolv_helper_get_sysfs_gpio_value(7, &value, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_get_sysfs_gpio_active_low(7, &value, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_get_sysfs_gpio_direction(7, &value, nullptr), not_reached);
    put_line("out", "0", "0");
    EXPECT_DEATH(zolv_helper_set_sysfs_gpio_value(7, 2, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_set_sysfs_gpio_direction(7, 2, nullptr), not_reached);
}

class Led : public Sysfs {
  protected:
    Led() : Sysfs("/sys/class/leds/") {}
};

using LedDeathTest = Led;

TEST_F(Led, TriggerIsTheNameInBrackets)
{
    struct Case {
        std::string list;
        const char *trigger;
    };
    const Case cases[] = {
        {"none timer [heartbeat] mmc0\n", "heartbeat"},
        {"[none] timer\n", "none"},
        {"timer [none]\n", "none"},
        {"[none]\n", "none"},
        {"none [timer\n", "timer"},
        {"[]\n", ""},
        {"none timer\n", nullptr},
        {"\n", nullptr},
        {std::string(255, 'x') + " [none]\n", nullptr},
        {std::string(249, 'x') + "[none]\n", "none"},
    };

    for (const auto &[list, expected] : cases) {
        gchar *trigger = const_cast<gchar *>("unset");
        put("user/trigger", list);
        EXPECT_TRUE(zolv_helper_get_sysfs_led_trigger("user", &trigger, &error));
        EXPECT_STREQ(trigger, expected) << list;
        g_free(trigger);
    }
}

TEST_F(Led, TriggerIsWrittenAsItIs)
{
    put("user:green/trigger", "");
    EXPECT_TRUE(zolv_helper_set_sysfs_led_trigger("user:green", "heartbeat", &error));
    EXPECT_EQ(log(), Lines{write_line("heartbeat", "user:green/trigger")});
}

TEST_F(Led, BrightnessIsOneDigit)
{
    put("user/brightness", "0\n");
    for (const guint brightness : {1U, 0U}) {
        guint read_back = 9;
        EXPECT_TRUE(zolv_helper_set_sysfs_led_brightness("user", brightness, &error));
        EXPECT_TRUE(zolv_helper_get_sysfs_led_brightness("user", &read_back, &error));
        EXPECT_EQ(read_back, brightness);
        EXPECT_EQ(log(), (Lines{write_line(std::to_string(brightness), "user/brightness"),
                                read_line(std::to_string(brightness), "user/brightness")}));
    }
}

TEST_F(Led, FailuresLeaveTheOutputAlone)
{
    gchar *trigger = nullptr;
    guint brightness = 9;

    EXPECT_FALSE(zolv_helper_get_sysfs_led_trigger("user", &trigger, &error));
    expect_error("open", "user/trigger", no_file);
    EXPECT_FALSE(zolv_helper_set_sysfs_led_trigger("user", "none", &error));
    expect_error("open", "user/trigger", no_file);
    EXPECT_FALSE(zolv_helper_get_sysfs_led_brightness("user", &brightness, &error));
    expect_error("open", "user/brightness", no_file);
    EXPECT_FALSE(zolv_helper_set_sysfs_led_brightness("user", 1, &error));
    expect_error("open", "user/brightness", no_file);
    EXPECT_EQ(trigger, nullptr);
    EXPECT_EQ(brightness, 9U);
}

TEST_F(Led, NameOfAnyLengthIsCutNowhereElse)
{
    const std::string name(255, 'n');
    guint brightness = 9;

    put(name + "/brightness", "1\n");
    EXPECT_TRUE(zolv_helper_get_sysfs_led_brightness(name.c_str(), &brightness, &error));
    EXPECT_EQ(brightness, 1U);
    for (const std::size_t length : {256U, 1000U, 10000U}) {
        EXPECT_FALSE(zolv_helper_get_sysfs_led_brightness(std::string(length, 'n').c_str(),
                                                          &brightness, &error));
        ASSERT_NE(error, nullptr);
        EXPECT_NE(strstr(error->message, "failed: File name too long"), nullptr);
        g_clear_error(&error);
    }
}

TEST_F(LedDeathTest, BrightnessOtherThanZeroAndOneAborts)
{
    guint brightness = 0;

    put("user/brightness", "255\n");
    EXPECT_DEATH(zolv_helper_get_sysfs_led_brightness("user", &brightness, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_set_sysfs_led_brightness("user", 255, nullptr), not_reached);
}

class Pwm : public Sysfs {
  protected:
    Pwm() : Sysfs("/sys/class/pwm/pwmchip1/") {}
    void put_channel()
    {
        for (const char *attribute : {"period", "duty_cycle", "enable"})
            put(std::string("pwm2/") + attribute, "0\n");
        put("pwm2/polarity", "normal\n");
    }
};

using PwmDeathTest = Pwm;

TEST_F(Pwm, DutyCycleIsClearedBeforeThePeriodIsSet)
{
    put_channel();
    EXPECT_TRUE(zolv_helper_set_sysfs_pwm_value(1, 2, 4294967295, 250000, &error));
    EXPECT_EQ(log(),
              (Lines{write_line("0", "pwm2/duty_cycle"), write_line("4294967295", "pwm2/period"),
                     write_line("250000", "pwm2/duty_cycle")}));
}

TEST_F(Pwm, FirstFailedWriteEndsTheSetting)
{
    put_channel();
    fs::remove("/sys/class/pwm/pwmchip1/pwm2/period");
    put_full_device("/sys/class/pwm/pwmchip1/pwm2/period");
    EXPECT_FALSE(zolv_helper_set_sysfs_pwm_value(1, 2, 1000, 500, &error));
    expect_error("write", "pwm2/period", no_space);
    EXPECT_EQ(log(), Lines{write_line("0", "pwm2/duty_cycle")});
}

TEST_F(Pwm, PeriodAndDutyCycleAreDecimalNumbers)
{
    struct Case {
        const char *text;
        guint number;
    };
    const Case cases[] = {{"0\n", 0},
                          {"4000000\n", 4000000},
                          {"4294967295\n", 4294967295},
                          {"99999999999999999999\n", 4294967295},
                          {"0000000000000000000123456\n", 1}, /* 20 bytes are read */
                          {"0100\n", 100},
                          {"x\n", 0}};

    put_channel();
    for (const auto &[text, number] : cases) {
        guint period = 9;
        guint duty_cycle = 9;
        put("pwm2/period", text);
        put("pwm2/duty_cycle", "7\n");
        EXPECT_TRUE(zolv_helper_get_sysfs_pwm_value(1, 2, &period, &duty_cycle, &error));
        EXPECT_EQ(period, number) << text;
        EXPECT_EQ(duty_cycle, 7U);
    }
}

TEST_F(Pwm, FailedReadLeavesBothNumbersAlone)
{
    guint period = 9;
    guint duty_cycle = 9;

    put_channel();
    fs::remove("/sys/class/pwm/pwmchip1/pwm2/duty_cycle");
    EXPECT_FALSE(zolv_helper_get_sysfs_pwm_value(1, 2, &period, &duty_cycle, &error));
    expect_error("open", "pwm2/duty_cycle", no_file);
    EXPECT_EQ(period, 9U);
    EXPECT_EQ(duty_cycle, 9U);
}

TEST_F(Pwm, PolarityIsOneOfTwoWords)
{
    const char *words[] = {"normal", "inversed"};

    put_channel();
    for (const guint polarity : {1U, 0U}) {
        guint read_back = 9;
        EXPECT_TRUE(zolv_helper_set_sysfs_pwm_polarity(1, 2, polarity, &error));
        EXPECT_EQ(log(), Lines{write_line(words[polarity], "pwm2/polarity")});
        put("pwm2/polarity", std::string(words[polarity]) + "\n");
        EXPECT_TRUE(zolv_helper_get_sysfs_pwm_polarity(1, 2, &read_back, &error));
        EXPECT_EQ(read_back, polarity);
        log();
    }
}

TEST_F(Pwm, StateIsOneDigit)
{
    put_channel();
    for (const guint state : {1U, 0U}) {
        guint read_back = 9;
        EXPECT_TRUE(zolv_helper_set_sysfs_pwm_state(1, 2, state, &error));
        EXPECT_TRUE(zolv_helper_get_sysfs_pwm_state(1, 2, &read_back, &error));
        EXPECT_EQ(read_back, state);
        EXPECT_EQ(log(), (Lines{write_line(std::to_string(state), "pwm2/enable"),
                                read_line(std::to_string(state), "pwm2/enable")}));
    }
}

TEST_F(Pwm, NumbersAreUnsigned)
{
    put_file("/sys/class/pwm/pwmchip4294967295/export", "");
    EXPECT_FALSE(zolv_helper_set_sysfs_pwm_state(4294967295, 4294967295, 1, nullptr));
    EXPECT_EQ(file_content("/sys/class/pwm/pwmchip4294967295/export"), "4294967295");
}

TEST_F(Pwm, ChannelThatIsNotThereIsExportedByEachOperation)
{
    guint value = 9;
    const Lines exported = {write_line("2", "export")};

    put("export", "");
    EXPECT_FALSE(zolv_helper_set_sysfs_pwm_value(1, 2, 10, 5, &error));
    expect_error("open", "pwm2/duty_cycle", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_get_sysfs_pwm_value(1, 2, &value, &value, &error));
    expect_error("open", "pwm2/period", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_set_sysfs_pwm_polarity(1, 2, 1, &error));
    expect_error("open", "pwm2/polarity", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_get_sysfs_pwm_polarity(1, 2, &value, &error));
    expect_error("open", "pwm2/polarity", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_set_sysfs_pwm_state(1, 2, 1, &error));
    expect_error("open", "pwm2/enable", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_FALSE(zolv_helper_get_sysfs_pwm_state(1, 2, &value, &error));
    expect_error("open", "pwm2/enable", no_file);
    EXPECT_EQ(log(), exported);
    EXPECT_EQ(value, 9U);
}

TEST_F(PwmDeathTest, OtherPolaritiesAndStatesAbort)
{
    guint value = 0;

    put_channel();
    put("pwm2/polarity", "normally\n");
    put("pwm2/enable", "2\n");
    EXPECT_DEATH(zolv_helper_get_sysfs_pwm_polarity(1, 2, &value, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_get_sysfs_pwm_state(1, 2, &value, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_set_sysfs_pwm_polarity(1, 2, 2, nullptr), not_reached);
    EXPECT_DEATH(zolv_helper_set_sysfs_pwm_state(1, 2, 2, nullptr), not_reached);
}

class I2c : public Sysfs {
  protected:
    I2c() : Sysfs("/sys/bus/i2c/devices/") {}
    void SetUp() override
    {
        Sysfs::SetUp();
        tvl_log_set_level("INFO");
    }
    std::string new_device(const std::string &adapter)
    {
        return file_content("/sys/bus/i2c/devices/" + adapter + "/new_device");
    }
};

std::string
field(const std::string &text)
{
    return text + std::string(24 - text.size(), '\0');
}

TEST_F(I2c, DeviceIsMadeOnTheAdapterThatHasTheNameInItsOwn)
{
    put("i2c-0/name", "first adapter\n");
    put("i2c-0/new_device", "");
    put("i2c-1/name", "second adapter\n");
    put("i2c-1/new_device", "");
    EXPECT_TRUE(zolv_helper_bind_sysfs_i2c_device("second", "pca9555", 0x20));
    EXPECT_EQ(new_device("i2c-1"), field("pca9555 32"));
    EXPECT_EQ(new_device("i2c-0"), "");
    EXPECT_EQ(log(), Lines{});
}

TEST_F(I2c, DeviceIsMadeOnOneOfTheAdaptersThatMatch)
{
    for (const std::string adapter : {"i2c-0", "i2c-1"}) {
        put(adapter + "/name", "adapter\n");
        put(adapter + "/new_device", "");
    }
    EXPECT_TRUE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(new_device("i2c-0") + new_device("i2c-1"), field("pca9555 32"));
}

TEST_F(I2c, LongestTypeAndAddressFillTheField)
{
    put("i2c-0/name", "adapter\n");
    put("i2c-0/new_device", "");
    EXPECT_TRUE(zolv_helper_bind_sysfs_i2c_device("adapter", "nineteen-characters", 127));
    EXPECT_EQ(new_device("i2c-0"), field("nineteen-characters 127"));
}

TEST_F(I2c, NameEndsAtItsNewlineAndAfter32Bytes)
{
    put("i2c-0/name", "one\nadapter\n");
    put("i2c-1/name", std::string(30, 'x') + "adapter\n");
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(log(), Lines{"<error> Failed to find i2c device: adapter"});
}

TEST_F(I2c, ClientsAreNoAdapters)
{
    put("0-0020/name", "adapter\n");
    put("0-0020/new_device", "");
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(new_device("0-0020"), "");
    EXPECT_EQ(log(), Lines{"<error> Failed to find i2c device: adapter"});
}

TEST_F(I2c, AdapterWithoutANameIsPassedOver)
{
    put("i2c-0/new_device", "");
    put("i2c-1/name", "adapter\n");
    put("i2c-1/new_device", "");
    put("i2c-2/new_device", "");
    EXPECT_TRUE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    for (const auto &line : log())
        EXPECT_TRUE(line.starts_with("<warn>  Failed to read i2c device name "
                                     "open '/sys/bus/i2c/devices/i2c-"))
            << line;

    fs::remove_all("/sys/bus/i2c/devices/i2c-1");
    fs::remove_all("/sys/bus/i2c/devices/i2c-2");
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(log(), (Lines{"<warn>  Failed to read i2c device name open "
                            "'/sys/bus/i2c/devices/i2c-0/name' failed: No such file or directory",
                            "<error> Failed to find i2c device: adapter"}));
}

TEST_F(I2c, OnlyTheFirstMatchIsTried)
{
    put("i2c-0/name", "adapter\n");
    put("i2c-1/name", "adapter\n");
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));

    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("<error> Failed to bind i2c device: "
                                     "open '/sys/bus/i2c/devices/i2c-"))
        << lines[0];
}

TEST_F(I2c, RefusedDeviceIsAnError)
{
    put("i2c-0/name", "adapter\n");
    put_full_device("/sys/bus/i2c/devices/i2c-0/new_device");
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(log(), Lines{"<error> Failed to bind i2c device: write "
                           "'/sys/bus/i2c/devices/i2c-0/new_device' failed: "
                           "No space left on device"});
}

TEST_F(I2c, ComputerWithoutTheBusIsAnError)
{
    EXPECT_FALSE(zolv_helper_bind_sysfs_i2c_device("adapter", "pca9555", 32));
    EXPECT_EQ(log(), (Lines{"<error> Failed to open i2c device directory",
                            "<error> Failed to find i2c device: adapter"}));
}

class Modprobe : public PrivateWorld {
  protected:
    void SetUp() override
    {
        PrivateWorld::SetUp();
        put_file("/usr/sbin/modprobe", "#!/bin/sh\necho \"$*\" > /sys/test/arguments\nexit 1\n");
        chmod("/usr/sbin/modprobe", 0755);
    }
};

using ModprobeDeathTest = Modprobe;

TEST_F(Modprobe, IsRunThroughTheShell)
{
    zolv_helper_modprobe("uinput  debug=1");
    EXPECT_EQ(file_content("/sys/test/arguments"), "uinput debug=1\n");
    EXPECT_EQ(log(), Lines{"<debug> Load kernel module 'uinput  debug=1'"});
}

/* The shell gives it back to its programs anyhow; others would inherit what we have. */
TEST_F(Modprobe, DoesNotIgnoreChildrenWhileItRuns)
{
    struct sigaction action {};

    put_file("/usr/sbin/modprobe", "#!/bin/bash\ntouch /sys/test/runs\n"
                                   "for i in {1..1000}; do [ -e /sys/test/go ] && exit; sleep "
                                   "0.01; done\n");
    std::signal(SIGCHLD, SIG_IGN);
    std::thread loading([] { zolv_helper_modprobe("uinput"); });
    while (!exists("/sys/test/runs"))
        usleep(1000);
    sigaction(SIGCHLD, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    put_file("/sys/test/go", "");
    loading.join();
    std::signal(SIGCHLD, SIG_DFL);
}

TEST_F(Modprobe, LeavesTheDispositionOfChildrenAsItWas)
{
    struct sigaction action {};

    std::signal(SIGCHLD, SIG_IGN);
    zolv_helper_modprobe("uinput");
    sigaction(SIGCHLD, nullptr, &action);
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
}

TEST_F(ModprobeDeathTest, CommandAbove255BytesAborts)
{
    const std::string longest(255 - 15, ' ');

    zolv_helper_modprobe(longest.c_str());
    EXPECT_TRUE(exists("/sys/test/arguments"));
    EXPECT_DEATH(zolv_helper_modprobe((longest + " ").c_str()), "assertion failed");
}

} // namespace
