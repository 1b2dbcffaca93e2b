// The status line as other threads see it: they read its text and replace it.
//
// Any thread, except where said otherwise.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

/// A text that worker code reads and writes.
struct TextBinding {
    std::function<QString()> get;
    std::function<void(const QString &)> set;
};

class StatusText : public std::enable_shared_from_this<StatusText> {
public:
    /// `show` is called on the main thread for each text that a thread puts there.
    explicit StatusText(std::function<void(const QString &)> show);

    /// The window's own change of the line. Texts of threads that are still to be shown are about an earlier
    /// step, and are dropped. Main thread.
    void note(const QString &text);

    /// The window is gone: texts that are still on their way are dropped. Main thread.
    void close();

    /// What capture and upload use.
    TextBinding binding();

private:
    void setText(const QString &text);
    void show(const QString &text, std::uint64_t number);

    std::mutex m_mutex;
    QString m_text;
    // Of the latest text of a thread.
    std::uint64_t m_number = 0;
    // Main thread only.
    std::function<void(const QString &)> m_show;
    bool m_isShowing = false;
    std::uint64_t m_lastOverruled = 0;
};
