#include "peripherals/cellular/zolv-recovery-budget.h"

#include "core/zolv-raii.h"
#include "helpers/zolv-helpers-store.h"
#include "tvl-log.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using zolv::RecoveryBudget;

constexpr char path[] = "/etc/tarvel/TarvelPerimond/.telit_reboot_record";
constexpr mode_t mode = 0400;
/* What is read of the file; what is written is shorter. */
constexpr std::size_t record_at_most = 32;

constexpr int granted_at_most = 5;

/* What the file could not be made to hold. */
std::optional<RecoveryBudget> unkept;

int
granted(const char *variable)
{
    const char *text = g_getenv(variable);
    const long number = text != nullptr ? strtol(text, nullptr, 10) : 0;

    return number < 0 || number > granted_at_most ? granted_at_most : static_cast<int>(number);
}

bool
take(std::string_view &text, std::string_view word)
{
    if (!text.starts_with(word))
        return false;
    text.remove_prefix(word.size());
    return true;
}

bool
take(std::string_view &text, int &number)
{
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);

    if (failure != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

/* "PWR=2 REBOOT=1"; all else grants nothing. */
RecoveryBudget
parse(std::string_view text)
{
    RecoveryBudget budget;

    if (take(text, "PWR=") && take(text, budget.power_cycles) && take(text, " REBOOT=") &&
        take(text, budget.restarts))
        return budget;
    return {};
}

/* A regular file alone; no link is followed, and nobody waited for. */
zolv::UniqueFd
open_record(int flags)
{
    zolv::UniqueFd file(open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};

    if (file && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)))
        file.reset();
    return file;
}

/* Nothing where the record cannot be read; an empty one can. */
std::optional<RecoveryBudget>
read_record()
{
    const zolv::UniqueFd file = open_record(O_RDONLY);
    std::array<char, record_at_most> text{};
    const ssize_t n_read =
        file ? TEMP_FAILURE_RETRY(read(file.get(), text.data(), text.size())) : -1;

    if (n_read < 0)
        return std::nullopt;
    return parse(std::string_view(text.data(), static_cast<std::size_t>(n_read)));
}

/* On a full disk there is no room for a new file, but the old one may be long enough. It is cut
 * first: no tail of it may stay behind what is written. */
bool
overwrite(std::string_view content)
{
    const zolv::UniqueFd file = open_record(O_WRONLY);
    const auto length = static_cast<off_t>(content.size());
    struct stat status = {};

    return file && fstat(file.get(), &status) == 0 &&
           (status.st_size <= length || ftruncate(file.get(), length) == 0) &&
           zolv::write_fully(file.get(), content) && fsync(file.get()) == 0;
}

bool
write_record(std::string_view content)
{
    g_autoptr(GError) error = nullptr;

    return zolv::replace_file(zolv::settings_directory, path, mode, content, &error) ||
           overwrite(content);
}

} // namespace

RecoveryBudget
RecoveryBudget::read()
{
    if (unkept)
        return *unkept;
    if (const std::optional<RecoveryBudget> record = read_record())
        return *record;
    if (!write_record(""))
        _tvl_log(TVL_LOG_ERROR, "Failed to create %s", path);
    return {.power_cycles = granted_power_cycles(),
            .restarts = granted("REBOOT_CYCLE_TIMES_FOR_TELIT")};
}

void
RecoveryBudget::store() const
{
    const std::string text =
        "PWR=" + std::to_string(power_cycles) + " REBOOT=" + std::to_string(restarts);

    unkept.reset();
    if (write_record(text))
        return;
    _tvl_log(TVL_LOG_ERROR, "Failed to set reboot times");
    unkept = *this;
}

bool
RecoveryBudget::outlives_restart() const
{
    const std::optional<RecoveryBudget> record = read_record();

    return record && record->restarts <= restarts;
}

int
RecoveryBudget::granted_power_cycles()
{
    return granted("PWR_CYCLE_RECOVERY_TIMES_FOR_TELIT");
}

bool
RecoveryBudget::clear()
{
    unkept.reset();
    if (unlink(path) != 0)
        return false;
    zolv::sync_directory(zolv::settings_directory);
    return true;
}
