// A text of the window that worker code reads and writes.
#pragma once

#include <QString>
#include <functional>

/// Both functions may be called from any thread.
struct TextBinding {
    std::function<QString()> get;
    std::function<void(const QString &)> set;
};
