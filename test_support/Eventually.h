// Waits for what another process or thread does.
#pragma once

#include <chrono>
#include <thread>

namespace test_support {

/// True as soon as `condition` holds, false when it does not within `limit`.
template <typename Condition>
bool eventually(const Condition &condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace test_support
