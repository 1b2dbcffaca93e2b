#include "platform/posix/TerminationSignals.h"

#include "platform/posix/Program.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr unsigned patienceSeconds = 2;
constexpr int requests[] = {SIGTERM, SIGINT, SIGHUP};

// The handler, which may do next to nothing, writes here what the event loop reads.
int pipeEnds[2] = {-1, -1};

void takeRequest(int) {
    for (const int request : requests) {
        if (struct sigaction current{};
            ::sigaction(request, nullptr, &current) == 0 && current.sa_handler == takeRequest)
            std::signal(request, SIG_DFL);
    }
    stopPrograms();
    // The main thread may be waiting for a disk that does not answer.
    ::alarm(patienceSeconds);
    (void)!::write(pipeEnds[1], "", 1);
}

} // namespace

void onTerminationRequest(std::function<void()> end) {
    if (programsAreStopped() || ::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *const notifier =
        new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, QCoreApplication::instance());
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
