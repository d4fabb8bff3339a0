/* What programs tell of the time that they are about to wait, in the order of all accesses, and
 * commands that a wait sets off: "after the seventh wait the line goes up" needs no clock. */

#include "verbs.h"

#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

namespace board {

namespace {

struct Due {
    long long waits; /* until then */
    Words command;
};

/* The wait is told before it begins: the command takes effect within it. */
int
count_wait(World &world, std::vector<Due> &all)
{
    std::vector<Due> waiting;

    for (Due &due : std::exchange(all, {})) {
        if (--due.waits == 0)
            world.act(due.command, [](const std::string &) {});
        else
            waiting.push_back(std::move(due));
    }
    all.insert(all.end(), waiting.begin(), waiting.end());
    return 0;
}

} // namespace

void
add_waits(World &world)
{
    auto all = std::make_shared<std::vector<Due>>();

    world.verbs.push_back(
        {"waits", "", "makes /dev/waits, to which programs write the waits before them", 0,
         [&world, all](const Words &, const Done &done) {
             world.files.dev().put(
                 "waits", std::make_shared<Attribute>(nullptr, [&world, all](std::string_view) {
                     return count_wait(world, *all);
                 }));
             done("");
         }});
    world.verbs.push_back({"at-wait", "COUNT COMMAND...",
                           "does a command when that many further waits have been told", 2,
                           [all](const Words &words, const Done &done) {
                               const long long count = number(words[1]);
                               if (count < 1)
                                   throw Refusal("a wait is counted from 1");
                               all->push_back({count, {words.begin() + 2, words.end()}});
                               done("");
                           }});
}

} // namespace board
