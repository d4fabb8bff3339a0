#include <cstdlib>

/*
 * Called for an exception that nobody catches, as every one in a program built without exceptions.
 * The C++ library's own handler would bring 47 KB of name demangler into the executable, to print a
 * type that a debugger shows as well.
 */
namespace __gnu_cxx {

void __verbose_terminate_handler();

void
__verbose_terminate_handler()
{
    std::abort();
}

} // namespace __gnu_cxx
