#include "platform/posix/Fatal.h"

#include <cstdio>
#include <cstdlib>

namespace platform {

void fatal(const char *reason) {
    std::fprintf(stderr, "Brennic_Lumadoc_Diagnostics: %s\n", reason);
    std::_Exit(EXIT_FAILURE);
}

} // namespace platform
