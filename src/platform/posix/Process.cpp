#include "platform/posix/Process.h"

#include "platform/posix/Text.h"

#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

namespace platform {

void prepareProcess() {
    ::umask(S_IRWXG | S_IRWXO);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
    // A product may start this program with its standard streams closed. The next file opened would take
    // their place, and what is meant for the terminal would end up in that file.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR);
    }
}

std::filesystem::path executablePath(const QStringList &arguments) {
    const auto first = pathFromText(arguments.value(0));
    if (first.is_absolute())
        return first;
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

void nameThisThread(const char *name) {
    ::pthread_setname_np(::pthread_self(), name);
}

} // namespace platform
