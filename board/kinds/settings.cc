/* What a computer is delivered with below /etc/tarvel: scripts and settings. What is there already
 * stays, so that a world that is started again has kept them. */

#include "verbs.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace board {

namespace {

namespace fs = std::filesystem;

std::string
folder(const World &world)
{
    return world.directory + "/tarvel/TarvelPerimond/";
}

std::string
text_of(const std::string &path)
{
    std::ostringstream text;

    text << std::ifstream(path).rdbuf();
    return text.str();
}

/* @text with KEY=VALUE at the head of the object's group, unless the group has the key. */
std::string
with_setting(std::string text, const std::string &object, const std::string &assignment)
{
    const std::string head = "[" + object + "]\n";
    const std::string key = assignment.substr(0, assignment.find('=') + 1);
    std::size_t group = ("\n" + text).find("\n" + head);

    if (group == std::string::npos) {
        group = text.size();
        text += head;
    }
    const std::size_t first = group + head.size();
    const std::size_t end = text.find("\n[", first);
    if (("\n" + text.substr(first, end - first)).find("\n" + key) == std::string::npos)
        text.insert(first, assignment + "\n");
    return text;
}

void
write(const std::string &path, const std::string &text)
{
    std::ofstream file(path);

    file << text;
    if (!file.flush())
        throw Refusal("cannot write '" + path + "'");
}

void
add_settings(const World &world, const Words &words)
{
    const std::string path = folder(world) + "peripheral-settings.conf";
    std::string text = text_of(path);

    for (const auto &[name, value] : settings(words, 2))
        text = with_setting(text, words[1], name + "=" + value);
    write(path, text);
}

void
add_script(const World &world, const Words &words)
{
    const std::string path = folder(world) + words[1];
    std::string command = words[2];

    if (fs::exists(path))
        return;
    for (std::size_t i = 3; i < words.size(); ++i)
        command += " " + words[i];
    fs::create_directories(fs::path(path).parent_path());
    write(path, "#!/bin/sh\n" + command + "\n");
    fs::permissions(path, fs::perms(0755));
}

} // namespace

void
add_settings(World &world)
{
    world.verbs.push_back({"script", "PATH COMMAND...",
                           "a script below /etc/tarvel/TarvelPerimond, unless there is one", 2,
                           [&world](const Words &words, const Done &done) {
                               add_script(world, words);
                               done("");
                           }});
    world.verbs.push_back({"setting", "OBJECT KEY=VALUE...",
                           "settings of an object; what is stored already stays", 2,
                           [&world](const Words &words, const Done &done) {
                               add_settings(world, words);
                               done("");
                           }});
}

} // namespace board
