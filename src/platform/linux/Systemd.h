// libsystemd, loaded when it is first called: the libraries that it brings along would lengthen every start
// of the program, and the search for each symbol of the window's toolkit.
#pragma once

#include <dlfcn.h>

namespace platform {

/// Where the function of that name is, until the process ends; null where the library is missing or has none.
/// Any thread, also while the process ends.
inline void *systemdFunction(const char *name) {
    static void *const library = ::dlopen("libsystemd.so.0", RTLD_NOW);
    return library == nullptr ? nullptr : ::dlsym(library, name);
}

} // namespace platform

/// A function of libsystemd, by its name; null like `systemdFunction`.
#define LUMAMON_SYSTEMD(function) reinterpret_cast<decltype(&function)>(platform::systemdFunction(#function))
