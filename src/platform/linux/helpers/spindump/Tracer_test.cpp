#include "Target.h"
#include "Tracer.h"
#include "test_target/SampledProgram.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

using namespace spindump_test;

// So slow that the first thread of a target has stopped again before the last one goes on. It ends the target
// rather than wait for ever.
class SlowListener : public spindump::Tracer::Listener {
public:
    static constexpr int mostStops = 1000;

    explicit SlowListener(pid_t target)
        : m_target(target) {}
    int stops() const { return m_stops; }

private:
    void threadAppeared(pid_t) override {}
    void threadEnded(pid_t) override {}
    void threadStopped(pid_t) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (++m_stops == mostStops)
            ::kill(m_target, SIGKILL);
    }

    pid_t m_target;
    int m_stops = 0;
};

TEST(Tracer, DoesNotFollowEventsWithoutEnd) {
    SampledProgram target("signalStorm");
    const auto threads =
        spindump::openIn(AT_FDCWD, "/proc/" + std::to_string(target.id()) + "/task", O_RDONLY | O_DIRECTORY);
    spindump::Tracer tracer(target.id(), threads.get(), std::chrono::seconds(60));
    tracer.attach();
    SlowListener listener(target.id());
    ASSERT_TRUE(test_support::waitUntil([&] {
        tracer.wait(std::chrono::steady_clock::now(), listener);
        return listener.stops() > 0;
    }));
    EXPECT_LT(listener.stops(), SlowListener::mostStops / 2);
    tracer.letGo(listener);
    EXPECT_TRUE(tracer.threads().empty());
}

} // namespace
