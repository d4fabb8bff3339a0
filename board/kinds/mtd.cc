/* Flash devices with a one-time-programmable area that programs read through ioctls. */

#include "verbs.h"

#include <cerrno>
#include <memory>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace board {

namespace {

class Flash : public File {
  public:
    Flash(bool locked, std::string otp) : locked_(locked), otp_(std::move(otp)) {}

    mode_t mode() const override { return S_IFREG | 0600; }

    struct Open : OpenFile {
        int area = MTD_OTP_OFF;
    };

    std::unique_ptr<OpenFile> open(int, int &) override { return std::make_unique<Open>(); }

    void read(OpenFile &open, std::size_t size, off_t offset, Answer answer) override
    {
        auto start = static_cast<std::size_t>(offset);

        if (static_cast<Open &>(open).area != MTD_OTP_USER)
            return answer.data(std::string(size, '\xff')); /* erased flash */
        if (start >= otp_.size())
            return answer.data({});
        answer.data(std::string_view(otp_).substr(start, size));
    }

    void ioctl(OpenFile &open, unsigned request, const Memory &memory, Answer answer) override
    {
        int &area = static_cast<Open &>(open).area;

        if (request == OTPSELECT) {
            int wanted = 0;
            if (!memory.get(&wanted, sizeof wanted))
                return answer.fail(EFAULT);
            if (wanted != MTD_OTP_OFF && wanted != MTD_OTP_USER)
                return answer.fail(EINVAL);
            area = wanted;
            return answer.done();
        }
        if (request == OTPGETREGIONINFO) {
            otp_info info{0, static_cast<__u32>(otp_.size()), locked_ ? 1U : 0U};
            if (area == MTD_OTP_OFF)
                return answer.fail(EINVAL);
            if (!memory.put(&info, sizeof info))
                return answer.fail(EFAULT);
            return answer.done();
        }
        answer.fail(ENOTTY);
    }

  private:
    bool locked_;
    std::string otp_;
};

} // namespace

void
add_mtd(World &world)
{
    world.verbs.push_back(
        {"otp", "NUMBER locked|unlocked DATA",
         "puts flash device /dev/mtdNUMBER with that user OTP area; DATA takes C escapes", 3,
         [&world](const Words &words, const Done &done) {
             if (words[2] != "locked" && words[2] != "unlocked")
                 throw Refusal("an OTP area is locked or unlocked");
             world.files.dev().put("mtd" + words[1], std::make_shared<Flash>(words[2] == "locked",
                                                                             unescape(words[3])));
             done("");
         }});
}

} // namespace board
