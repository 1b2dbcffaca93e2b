#include "StallGuard.h"

#include <csignal>

namespace spindump {

StallGuard::StallGuard(std::chrono::seconds limit)
    : m_limit(limit) {
    struct sigevent event {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    m_exists = ::timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
    renew();
}

void StallGuard::end() {
    if (m_exists)
        ::timer_delete(m_timer);
    m_exists = false;
}

void StallGuard::renew() {
    const struct itimerspec time {
        {0, 0}, { m_limit.count(), 0 }
    };
    if (m_exists)
        ::timer_settime(m_timer, 0, &time, nullptr);
}

} // namespace spindump
