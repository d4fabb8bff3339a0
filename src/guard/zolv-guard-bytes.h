#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace zolv {

/* Messages may hold a passphrase: memory that they have lain in is wiped before it goes back. */
template <typename T> struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <typename U> explicit WipingAllocator(const WipingAllocator<U> &) {}

    T *allocate(std::size_t n) { return std::allocator<T>().allocate(n); }
    void deallocate(T *memory, std::size_t n)
    {
        explicit_bzero(memory, n * sizeof(T));
        std::allocator<T>().deallocate(memory, n);
    }
    bool operator==(const WipingAllocator &) const = default;
};

using GuardBuffer = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;
using GuardText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

} // namespace zolv
