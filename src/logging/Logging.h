// The program's own diagnostic log: one plain-text file with one line for each call, and a copy of each line
// in the system log.
//
// The functions may be called from any thread, and none of them ever fails to its caller: trouble with the
// file is reported on standard output, and logging goes on at the old place, or to the system log alone. A
// line is one append, so lines of concurrent callers never mix. Whatever a message holds, it is one line that
// cannot act on a terminal: control and format characters and line separators are escaped.
//
// A caller waits for the disk, unless it is the thread that is to be spared that.
#pragma once

#include "platform/SystemLog.h"

#include <QString>
#include <QStringList>
#include <filesystem>
#include <optional>

namespace ConstantsFolder {

inline constexpr char DebugOutputLogFile[] = "LumadocDiagnosticsDebugOutput.log";

} // namespace ConstantsFolder

namespace UtilityFunctions {

/// The workspace's system folder; set when the workspace is made.
inline std::optional<std::filesystem::path> tempSystemURL;

/// The log after its move into that folder; set by the log.
inline std::optional<std::filesystem::path> lumamonLogFileURL;

} // namespace UtilityFunctions

class Logger {
public:
    /// Points the log at the user's caches folder, and creates that; the file comes with the first line. A
    /// user without a caches folder ends the process.
    static void setupLogFile();

    /// A line without a label: nothing in it is masked.
    static void log(const QString &message, platform::OSLogType type);

    /// A labelled line; user names in home-folder paths are masked.
    static void logInfo(const QString &message);
    static void logWarning(const QString &message);
    static void logError(const QString &message);

    /// The same as `logInfo` for a text of several lines: its line feeds are kept. A line that could be taken
    /// for one of the log's own is set off by a blank.
    static void logInfoLines(const QString &text);

    /// From now on the lines of the calling thread are written by another one, as soon as the disk lets it.
    /// They keep their place among the lines of other threads. Where the system has no thread, nothing
    /// changes.
    static void spareThisThread();

    /// Writes what `spareThisThread` has left to be written. Blocks as long as the disk does. Any thread.
    static void writeAll();

    /// Moves the log into the workspace's system folder, and removes the folder that it leaves when that is
    /// empty. Does nothing without the system folder or without a log; on failure the log stays where it is.
    /// Main thread.
    static void changeLogFileLocation();

    /// Points the log at the file of the copy of this program that is already running; false when the user
    /// has no Library folder. Creates nothing and moves nothing.
    static bool NewLogFileLocation();
};

/// `message` with every "/Users/<name>/" and "/home/<name>/" turned into "/Users/[USER]/" and
/// "/home/[USER]/", and the same for the last name of each of `homes`, absolute paths of home folders
/// elsewhere, without a slash at their end. Takes time linear in the text.
QString maskedUserNames(const QString &message, const QStringList &homes = {});
