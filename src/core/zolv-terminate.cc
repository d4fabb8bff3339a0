#include "core/zolv-terminate.h"

#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <typeinfo>

/*
 * Called for an exception that nobody catches, as every one in a program built without exceptions.
 * The C++ library's own handler would bring 47 KB of name demangler into the executable; c++filt
 * reads the names as they are. This file alone is built with exceptions, to ask one for its text.
 */
namespace __gnu_cxx {

void __verbose_terminate_handler();

void
__verbose_terminate_handler()
{
    const std::type_info *type = abi::__cxa_current_exception_type();

    if (type == nullptr) {
        std::fputs("Ended by the C++ library without an exception\n", stderr);
        std::abort();
    }
    try {
        throw;
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "Ended by the C++ library: %s: %s\n", type->name(), exception.what());
    } catch (...) {
        std::fprintf(stderr, "Ended by the C++ library: %s\n", type->name());
    }
    std::abort();
}

} // namespace __gnu_cxx

void
zolv::tell_of_terminate()
{
    /* A shared C++ library, as with a sanitizer, has taken its own handler already. */
    std::set_terminate(__gnu_cxx::__verbose_terminate_handler);
}
