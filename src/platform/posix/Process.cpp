#include "platform/posix/Process.h"

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr unsigned patienceSeconds = 2;
constexpr int requests[] = {SIGTERM, SIGINT, SIGHUP};

// The signal handler, which may do next to nothing, writes here what the event loop reads. Never closed.
int requestEnd = -1;

void takeRequest(int) {
    for (const int request : requests) {
        if (struct sigaction current{};
            ::sigaction(request, nullptr, &current) == 0 && current.sa_handler == takeRequest)
            std::signal(request, SIG_DFL);
    }
    stopPrograms();
    // The main thread may be waiting for a disk that does not answer.
    ::alarm(patienceSeconds);
    (void)!::write(requestEnd, "", 1);
}

} // namespace

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

// Linux: macOS has another call for the executable's path.
std::filesystem::path executablePath(const QStringList &arguments) {
    auto first = pathFromText(arguments.value(0));
    if (first.is_absolute())
        return first;
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

void onTerminationRequest(std::function<void()> end) {
    Pipe pipe = Pipe::open();
    if (programsAreStopped() || !pipe)
        return;
    requestEnd = pipe.writeEnd.release();
    auto *const notifier =
        new QSocketNotifier(pipe.readEnd.release(), QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, end = std::move(end)] {
        notifier->setEnabled(false);
        end();
    });
    for (const int request : requests) {
        struct sigaction current {};
        if (::sigaction(request, nullptr, &current) != 0 || current.sa_handler == SIG_IGN)
            continue;
        struct sigaction wanted {};
        wanted.sa_handler = takeRequest;
        wanted.sa_flags = SA_RESTART;
        ::sigaction(request, &wanted, nullptr);
    }
}

} // namespace platform
