// The program's own diagnostic log: one plain-text file, one line a call, and a copy to the system log.
//
// Every function may be called from any thread and none ever fails to its caller: trouble with the file is
// told on standard output and logging goes on at the old place, or to the system log alone. A line is one
// append, so lines of concurrent callers never mix.
#pragma once

#include "platform/SystemLog.h"

#include <QString>

class Logger {
public:
    /// Points the log at the user's caches folder, which is made; the file comes with the first line. A user
    /// without a caches folder ends the process.
    static void setupLogFile();

    /// A line without a label, written as it is: nothing in it is masked.
    static void log(const QString &message, platform::OSLogType type);

    /// A labelled line; user names in home-folder paths are masked.
    static void logInfo(const QString &message);
    static void logWarning(const QString &message);
    static void logError(const QString &message);

    /// Moves the log into the workspace's system folder. Does nothing while there is none, or no log; on
    /// failure the log stays where it is.
    static void changeLogFileLocation();

    /// Points the log at the file of the copy of this program that runs already; false when the user has no
    /// Library folder. Makes nothing and moves nothing.
    static bool NewLogFileLocation();
};
