#include "accesses.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fnmatch.h>
#include <time.h>

namespace board {

namespace {

/* About 100 MB. Beyond it the oldest are forgotten: those of nine hours ago, for a daemon that
 * polls one file five times a second. */
constexpr std::size_t record_limit = 500000;

} // namespace

void
Record::add(Access access)
{
    accesses_.push_back(std::move(access));
    if (accesses_.size() > record_limit)
        accesses_.pop_front();
}

void
Faults::heal(std::string_view pattern)
{
    faults_.remove_if(
        [pattern](const Fault &fault) { return pattern.empty() || fault.pattern == pattern; });
}

Fault
Faults::take(std::string_view operation, const std::string &path, const std::string &alias)
{
    for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
        /* Hiding a name needs to be asked for: "any" is about files that are there. */
        bool meant = fault->operation == operation ||
                     operation.starts_with(fault->operation + ":") ||
                     (fault->operation == "any" && operation != "find" && operation != "follow" &&
                      (fault->limit_bytes < 0 || operation == "read" || operation == "write"));

        if (!meant || (!path_matches(fault->pattern, path) && !path_matches(fault->pattern, alias)))
            continue;
        Fault hit = *fault;
        if (fault->left > 0 && --fault->left == 0)
            faults_.erase(fault);
        return hit;
    }
    return {};
}

std::string
Fault::text() const
{
    std::string text = escape(pattern) + " " + operation;

    if (error != 0)
        text += " " + error_name(error);
    else if (limit_bytes >= 0)
        text += " short:" + std::to_string(limit_bytes);
    else
        text += " delay:" + std::to_string(delay_us / 1000);
    if (left >= 0)
        text += " " + std::to_string(left);
    return text;
}

int
error_number(std::string_view name)
{
    for (int error = 1; error < 134; ++error) {
        const char *known = strerrorname_np(error);

        if (known != nullptr && name == known)
            return error;
    }
    return 0;
}

std::string
error_name(int error)
{
    const char *name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

std::string
escape(std::string_view bytes)
{
    static constexpr std::string_view hex = "0123456789abcdef";
    std::string text;

    for (char c : bytes) {
        auto byte = static_cast<unsigned char>(c);

        if (c == '\n')
            text += "\\n";
        else if (c == '\\' || c == '"')
            text += {'\\', c};
        else if (byte >= 0x20 && byte < 0x7f)
            text += c;
        else
            text += {'\\', 'x', hex[byte >> 4], hex[byte & 15]};
    }
    return text;
}

std::string
unescape(std::string_view text)
{
    std::string bytes;

    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            bytes += text[i];
            continue;
        }
        switch (text[++i]) {
        case 'n':
            bytes += '\n';
            break;
        case 't':
            bytes += '\t';
            break;
        case 'x': {
            std::string digits(text.substr(i + 1, 2));
            bytes += static_cast<char>(std::strtoul(digits.c_str(), nullptr, 16));
            i += digits.size();
            break;
        }
        default:
            bytes += text[i];
        }
    }
    return bytes;
}

bool
path_matches(const std::string &pattern, const std::string &path)
{
    return fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

std::int64_t
now_us()
{
    timespec now{};

    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

} // namespace board
