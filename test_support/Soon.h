// A limit of time for tests that other work on the machine does not shorten.
#pragma once

#include <chrono>
#include <thread>

namespace test_support {

/// Whether `condition` holds within `limit`, counted in looks of a millisecond and not by the clock: on a
/// busy machine the thread that looks waits for a processor as long as the one that it looks at.
template <typename Condition>
bool soon(Condition condition, std::chrono::milliseconds limit) {
    for (auto looked = std::chrono::milliseconds(0); looked < limit && !condition(); ++looked)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

} // namespace test_support
