// The installed-applications report as a program: the applications of this machine and user on standard
// output.
//
// Ends with 0 when the whole report was written, 1 when it could not be written, 2 for a command line that it
// does not know. Anything but 0 comes with a line on standard error.
#include "platform/linux/helpers/system_profiler/Report.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Process.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

int main(int argumentCount, char **arguments) {
    // Afterwards a closed stream cannot be told from one that leads nowhere.
    const bool hasOutput = ::fcntl(STDOUT_FILENO, F_GETFD) >= 0;
    platform::prepareProcess();
    const std::vector<std::string_view> given(arguments + (argumentCount > 0 ? 1 : 0),
                                              arguments + argumentCount);
    if (given != std::vector<std::string_view>{"-detailLevel", "full", "SPApplicationsDataType"}) {
        std::fputs("usage: system_profiler -detailLevel full SPApplicationsDataType\n", stderr);
        return 2;
    }

    system_profiler::Reader reader;
    const QByteArray report =
        system_profiler::reportOf(system_profiler::applicationsOfThisMachine(reader), reader);
    std::error_code error;
    // Some file systems say only at the end that they are full.
    if (hasOutput && platform::writeAll(STDOUT_FILENO, report, error) && ::close(STDOUT_FILENO) == 0)
        return EXIT_SUCCESS;
    const std::string reason =
        hasOutput ? (error ? error : platform::systemError()).message() : "standard output is closed";
    std::fprintf(stderr, "system_profiler: the report cannot be written: %s\n", reason.c_str());
    return EXIT_FAILURE;
}
