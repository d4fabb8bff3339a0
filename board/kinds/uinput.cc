/* The device by which programs make input devices of their own: what they ask of it and the events
 * that they write are in the record. Two of its requests carry a number in the place of an address,
 * which the kernel does not hand to a file of the board; they are none of those here. */

#include "verbs.h"

#include <cerrno>
#include <cstring>
#include <linux/uinput.h>
#include <memory>
#include <sys/stat.h>

namespace board {

namespace {

class Uinput : public File {
  public:
    mode_t mode() const override { return S_IFREG | 0600; }

    void ioctl(OpenFile &, unsigned request, const Memory &memory, Answer answer) override
    {
        uinput_setup setup{};

        switch (request) {
        case UI_DEV_SETUP:
            if (!memory.get(&setup, sizeof setup))
                return answer.fail(EFAULT);
            answer.tell("setup bus=" + std::to_string(setup.id.bustype) + " id=" +
                        std::to_string(setup.id.vendor + setup.id.product + setup.id.version) +
                        " effects=" + std::to_string(setup.ff_effects_max) +
                        " name=" + std::string(setup.name, strnlen(setup.name, sizeof setup.name)));
            return answer.done();
        case UI_DEV_CREATE:
            answer.tell("create");
            return answer.done();
        case UI_DEV_DESTROY:
            answer.tell("destroy");
            return answer.done();
        default:
            return answer.fail(EINVAL);
        }
    }

    void write(OpenFile &, std::string_view bytes, off_t, Answer answer) override
    {
        answer.done(bytes.size());
    }
};

} // namespace

void
add_uinput(World &world)
{
    world.verbs.push_back({"add-uinput", "",
                           "puts /dev/uinput; the record has what is asked of it and written", 0,
                           [&world](const Words &, const Done &done) {
                               world.files.dev().put("uinput", std::make_shared<Uinput>());
                               done("");
                           }});
}

} // namespace board
