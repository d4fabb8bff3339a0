#pragma once

#include <glib-object.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace zolv {

template <auto function> struct Free {
    template <typename T> void operator()(T *pointer) const { function(pointer); }
};

using CharPtr = std::unique_ptr<char, Free<g_free>>;
using VariantPtr = std::unique_ptr<GVariant, Free<g_variant_unref>>;
using ErrorPtr = std::unique_ptr<GError, Free<g_error_free>>;
template <typename T> using ObjectPtr = std::unique_ptr<T, Free<g_object_unref>>;

/* A file descriptor that is closed with its owner; -1 is none. */
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    UniqueFd(UniqueFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1)
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

} // namespace zolv

/* The flag enumerations that are combined here; C++ has no implicit way back from int. */
constexpr GParamFlags
operator|(GParamFlags a, GParamFlags b)
{
    return static_cast<GParamFlags>(static_cast<int>(a) | static_cast<int>(b));
}
