// A disk that takes its time, or does not answer any more, like a worn one or a network mount whose server
// has gone.
#pragma once

#include "test_support/Isolation.h"

#include <chrono>
#include <sys/types.h>

#define REQUIRE_SLOW_DISK()                                                                                  \
    if (!test_support::SlowDisk::isPossible())                                                               \
    GTEST_SKIP() << "this machine gives a test no file system of its own making"

namespace test_support {

/// Holds what a folder held before, in its place, and is served by a process of its own, so that only who
/// asks it waits. The kernel keeps nothing of what it answers.
class SlowDisk {
public:
    static bool isPossible();

    /// It answers at once at first. Aborts when it cannot be mounted.
    explicit SlowDisk(const std::filesystem::path &folder);
    ~SlowDisk();
    SlowDisk(const SlowDisk &) = delete;
    SlowDisk &operator=(const SlowDisk &) = delete;

    /// From now on each operation takes that long, one after the other; or only so many of the next.
    void setDelay(std::chrono::milliseconds delay, unsigned operations = ~0U);
    /// The same, and each of these operations goes on until `answer` was called twice since it began: whoever
    /// cannot answer before the disk does keeps both waiting, for 10 s, however busy the machine is.
    void setDelayUntilAnswered(std::chrono::milliseconds delay, unsigned operations = ~0U);
    void answer();
    /// How many operations have waited in vain for an answer.
    int unanswered() const;
    /// From now on nothing is answered.
    void stopAnswering() const;
    /// How many of the last 65536 operations that thread has asked for.
    int operationsOf(pid_t thread) const;

    /// Between the test and the server.
    struct Shared;

private:
    std::filesystem::path m_folder;
    Shared *m_shared;
    pid_t m_server;
};

} // namespace test_support
