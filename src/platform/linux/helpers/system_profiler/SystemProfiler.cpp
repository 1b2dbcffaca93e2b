#include "platform/linux/helpers/system_profiler/SystemProfiler.h"

#include "platform/linux/helpers/system_profiler/Arguments.h"
#include "platform/linux/helpers/system_profiler/Inventory.h"
#include "platform/linux/helpers/system_profiler/Output.h"
#include "platform/linux/helpers/system_profiler/Report.h"
#include "platform/posix/Process.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace system_profiler {

namespace {

int fail(int status, std::string_view text) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
    return status;
}

} // namespace

int run(int argumentCount, char **arguments) {
    // Afterwards a closed stream cannot be told from one that leads nowhere.
    const bool hasOutput = ::fcntl(STDOUT_FILENO, F_GETFD) >= 0;
    platform::prepareProcess();
    constexpr int wrongUsage = 2;
    const int first = argumentCount > 0 ? 1 : 0;
    if (!askForApplications({arguments + first, arguments + argumentCount}))
        return fail(wrongUsage, usage);
    if (!hasOutput)
        return fail(EXIT_FAILURE, "system_profiler: the report cannot be written: standard output is closed");

    NotRead notRead;
    const auto applications = installedApplications(placesOfThisMachine(), notRead);
    if (const auto error = writeToEnd(STDOUT_FILENO, reportOf(applications, notRead)))
        return fail(EXIT_FAILURE, "system_profiler: the report cannot be written: " + error.message());
    return EXIT_SUCCESS;
}

} // namespace system_profiler
