#include "WakeUps.h"

#include <csignal>
#include <ctime>
#include <poll.h>
#include <sys/signalfd.h>

namespace spindump {

WakeUps::WakeUps() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, signal);
    // A parent may have had its children ignored, and that is inherited.
    std::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    m_signals = platform::FileDescriptor(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
}

void WakeUps::wait(std::chrono::steady_clock::time_point until, int pipe) {
    using namespace std::chrono;
    const auto left = std::max(nanoseconds(0), duration_cast<nanoseconds>(until - steady_clock::now()));
    const struct timespec limit { duration_cast<seconds>(left).count(), (left % seconds(1)).count() };
    struct pollfd sources[] = {{m_signals.get(), POLLIN, 0}, {pipe, POLLOUT, 0}};
    if (::ppoll(sources, 2, &limit, nullptr) > 0 && sources[0].revents != 0)
        readSignals();
}

void WakeUps::readSignals() {
    struct signalfd_siginfo signal {};
    while (::read(m_signals.get(), &signal, sizeof signal) == sizeof signal)
        m_askedToEnd = m_askedToEnd || signal.ssi_signo != SIGCHLD;
}

} // namespace spindump
