// The main thread's event loop, run by a test for as long as it needs.
#pragma once

#include <QEventLoop>
#include <QTimer>
#include <chrono>

namespace test_support {

/// Runs the main queue until `condition` holds; false when `limit` passes first. The condition is looked at
/// on the main thread, also while the program itself waits in its own loop; this call returns after
/// that. Needs the application object.
template <typename Condition>
bool runMainQueueUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    bool held = condition();
    QEventLoop loop;
    QTimer look;
    look.setInterval(1);
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        held = held || condition();
        if (held || std::chrono::steady_clock::now() > deadline)
            loop.quit();
    });
    look.start();
    if (!held)
        loop.exec();
    return held;
}

/// Runs the main queue for this long.
inline void runMainQueueFor(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace test_support
