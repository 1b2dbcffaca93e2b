// The launch sequence, the silent pipeline, and how the silent pipeline ends the program.
//
// Main thread, except `KillApp`.
#pragma once

#include <QString>
#include <QStringList>
#include <utility>

class WindowFrontEnd;

class AppDelegate {
public:
    /// The one-instance rule: false when another copy of this program is running, whose log then says so, and
    /// whose window comes to the front unless silent mode is asked for. Such a copy is to end at once. Comes
    /// before everything else, and needs neither a display nor an application object.
    static bool isOnlyCopy(const QStringList &arguments);

    /// `arguments` are the process's, as they were given to it. `window` is the front end of window mode,
    /// which outlives this object; silent mode has none.
    AppDelegate(QStringList arguments, WindowFrontEnd *window)
        : m_arguments(std::move(arguments))
        , m_window(window) {}

    /// The launch sequence of the only copy, run from the event loop once it has started: the log, the
    /// workspace, the command line, and then the window or the silent pipeline.
    void applicationDidFinishLaunching();

    /// Logs `log` from a later turn of the main thread and ends the application then. Any thread; returns at
    /// once.
    static void KillApp(const QString &log);

private:
    void runWithoutUI();

    const QStringList m_arguments;
    WindowFrontEnd *m_window;
};
