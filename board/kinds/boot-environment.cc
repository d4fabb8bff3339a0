/* The boot loader's environment in a plain file: CRC-32 of the rest, NAME=VALUE entries, zeros. */

#include "verbs.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace board {

namespace {

constexpr std::size_t environment_size = 0x4000;

std::uint32_t
crc32(std::string_view bytes)
{
    std::uint32_t crc = 0xffffffff;

    for (char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320 : 0);
    }
    return ~crc;
}

using Variables = std::map<std::string, std::string>;

Variables
load(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::string image{std::istreambuf_iterator<char>(file), {}};
    Variables variables;

    for (std::size_t at = 4; at < image.size() && image[at] != '\0';) {
        std::string entry = image.c_str() + at;
        std::size_t equal = entry.find('=');

        if (equal != std::string::npos)
            variables[entry.substr(0, equal)] = entry.substr(equal + 1);
        at += entry.size() + 1;
    }
    return variables;
}

void
save(const std::string &path, const Variables &variables)
{
    std::string data;

    for (const auto &[name, value] : variables)
        data.append(name).append("=").append(value).push_back('\0');
    if (data.size() + 5 > environment_size)
        throw Refusal("the boot environment is full");
    data.resize(environment_size - 4);
    std::uint32_t crc = crc32(data);
    std::string head(4, '\0');
    std::memcpy(head.data(), &crc, 4);
    std::ofstream file(path + ".new", std::ios::binary);
    file << head << data;
    file.close();
    if (!file || std::rename((path + ".new").c_str(), path.c_str()) != 0)
        throw Refusal("cannot write '" + path + "'");
}

} // namespace

void
add_boot_environment(World &world)
{
    world.verbs.push_back({"env", "[NAME [VALUE]]",
                           "prints the boot environment or a variable of it, or sets one", 0,
                           [&world](const Words &words, const Done &done) {
                               std::string path = world.directory + "/env.bin";
                               Variables variables = load(path);
                               std::string text;
                               if (words.size() > 2) {
                                   variables[words[1]] = unescape(words[2]);
                                   save(path, variables);
                               } else if (words.size() > 1) {
                                   if (!variables.contains(words[1]))
                                       throw Refusal("there is no variable " + words[1]);
                                   text = variables[words[1]] + "\n";
                               } else {
                                   for (const auto &[name, value] : variables)
                                       text.append(name).append("=").append(value).append("\n");
                               }
                               done(text);
                           }});
    world.verbs.push_back({"unenv", "NAME", "removes a variable of the boot environment", 1,
                           [&world](const Words &words, const Done &done) {
                               std::string path = world.directory + "/env.bin";
                               Variables variables = load(path);
                               if (variables.erase(words[1]) == 0)
                                   throw Refusal("there is no variable " + words[1]);
                               save(path, variables);
                               done("");
                           }});
}

} // namespace board
