// The launch sequence, the silent pipeline, and how the silent pipeline ends the program.
//
// Main thread, except `KillApp`.
#pragma once

#include <QString>

class WindowFrontEnd;

class AppDelegate {
public:
    /// `window` is the front end of window mode, which outlives this object; silent mode has none.
    explicit AppDelegate(WindowFrontEnd *window = nullptr)
        : m_window(window) {}

    /// The launch sequence, run from the event loop once it has started: the one-instance rule, the log, the
    /// workspace, the command line, and then the window or the silent pipeline.
    void applicationDidFinishLaunching();

    /// Logs `log` from a later turn of the main thread and ends the application then. Any thread; returns at
    /// once.
    static void KillApp(const QString &log);

private:
    void runWithoutUI();

    WindowFrontEnd *m_window;
};
