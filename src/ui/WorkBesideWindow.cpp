#include "ui/WorkBesideWindow.h"

#include "discovery/MainQueue.h"

#include <QEventLoop>
#include <QPointer>
#include <memory>
#include <thread>

std::optional<bool> workBesideWindow(std::function<bool()> work) {
    // Main thread only.
    const auto result = std::make_shared<std::optional<bool>>();
    QEventLoop loop;
    std::thread([result, loop = QPointer(&loop), work = std::move(work)] {
        const bool value = work();
        platform::onMainQueue([result, loop, value] {
            *result = value;
            if (loop)
                loop->quit();
        });
    }).detach();
    // Events of every kind: the closing of the window is one of the user's.
    loop.exec();
    return *result;
}
