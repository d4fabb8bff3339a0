#include "helpers/zolv-disk-names.h"

static constexpr std::string_view digits = "0123456789";

static bool
is_digit(char character)
{
    return digits.find(character) != digits.npos;
}

bool
zolv::is_of_disk(std::string_view file, std::string_view disk)
{
    if (disk.empty() || !file.starts_with(disk))
        return false;

    std::string_view rest = file.substr(disk.size());
    if (rest.empty())
        return true;
    /* The kernel puts a p between a disk that ends with a number and the partition's. */
    if (is_digit(disk.back())) {
        if (rest.front() != 'p')
            return false;
        rest.remove_prefix(1);
    }
    return !rest.empty() && is_digit(rest.front());
}

std::string_view
zolv::partition_suffix(std::string_view file, std::size_t disk_length)
{
    std::string_view suffix = file.substr(disk_length);

    if (suffix.starts_with('p'))
        suffix.remove_prefix(1);
    return suffix;
}
