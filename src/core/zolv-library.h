#pragma once

#include <glib.h>
#include <span>

namespace zolv {

/* A function of a library that is loaded when it is first needed, and where its address goes. */
struct LibraryFunction {
    const char *name;
    gpointer *address;
};

/* Loads the library @file_name and finds all @functions; what is missing is the error's text. The
 * library stays for good: it may have registered types and exit functions. */
bool load_library(const char *file_name, std::span<const LibraryFunction> functions,
                  GError **error);

} // namespace zolv
