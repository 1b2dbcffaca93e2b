#include "logging/Logging.h"

#include "logging/LogFile.h"
#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Text.h"

#include <QRegularExpression>
#include <QStringList>
#include <chrono>
#include <ctime>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Never destroyed: other threads may log until the process has ended.
LogFile &logFile() {
    static LogFile *const file = new LogFile;
    return *file;
}

// The names of the user's home folder: as the system has it, and without the links in it.
QStringList homeNames() {
    QStringList names;
    const fs::path home = platform::homeFolder().value_or(fs::path());
    std::error_code error;
    for (const fs::path &path : {home, fs::canonical(home, error)}) {
        QString name = platform::displayText(path);
        while (name.endsWith(u'/'))
            name.chop(1);
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    return names;
}

const QString &subsystem() {
    static const QString identifier = [] {
        const auto &bundle = platform::Bundle::main();
        const auto name = bundle ? bundle->identifier() : std::nullopt;
        if (!name)
            platform::fatal("The main bundle has no identifier.");
        return *name;
    }();
    return identifier;
}

// The current time as "2024-03-05 14:07:09 +0000", which many lines share.
QByteArrayView timeStamp() {
    thread_local std::time_t last = -1;
    thread_local char text[32];
    thread_local std::size_t size = 0;
    if (const std::time_t now = std::time(nullptr); now != last) {
        struct tm parts {};
        size = std::strftime(text, sizeof text, "%F %T +0000", ::gmtime_r(&now, &parts));
        last = now;
    }
    return {text, static_cast<qsizetype>(size)};
}

void write(const char *label, platform::OSLogType type, const QString &shown) {
    const QByteArray line =
        QByteArray(label).append(timeStamp()).append(": ").append(shown.toUtf8()).append('\n');
    logFile().append(line);
    platform::SystemLog::send(subsystem(), QStringLiteral("MyApp"), type, QString::fromLatin1(label) + shown);
}

QString masked(const QString &message) {
    return maskedUserNames(message, logFile().homes());
}

// The lines of a text, none of which, except for the first, looks like a line of the log.
QString shownLines(const QString &text) {
    static const QRegularExpression stamped(
        QStringLiteral("^(INFO: |WARNING: |ERROR: |\\d{4}-\\d\\d-\\d\\d )"));
    QStringList lines = text.split(u'\n');
    for (QString &line : lines) {
        line = platform::shown(line);
        if (&line != &lines.first() && stamped.match(line).hasMatch())
            line.prepend(u' ');
    }
    return lines.join(u'\n');
}

} // namespace

void Logger::setupLogFile() {
    const auto folders = platform::userCachesFolders();
    if (folders.empty())
        platform::fatal("The user has no caches folder.");
    const auto folder = folders.front() / "Logs";
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        reportTrouble("Failed to create log directory: ", error);
        return;
    }
    logFile().setPath(folder / ConstantsFolder::DebugOutputLogFile, homeNames());
}

void Logger::log(const QString &message, platform::OSLogType type) {
    write("", type, platform::shown(message));
}

void Logger::logInfo(const QString &message) {
    write("INFO: ", platform::OSLogType::info, platform::shown(masked(message)));
}

void Logger::logInfoLines(const QString &text) {
    write("INFO: ", platform::OSLogType::info, shownLines(masked(text)));
}

// Warnings go to the system log at info: nothing that this program warns about concerns the system.
void Logger::logWarning(const QString &message) {
    write("WARNING: ", platform::OSLogType::info, platform::shown(masked(message)));
}

void Logger::logError(const QString &message) {
    write("ERROR: ", platform::OSLogType::error, platform::shown(masked(message)));
}

void Logger::spareThisThread() {
    logFile().spareThisThread();
    // They may say what led to a fatal end.
    platform::beforeFatalEnd = [] { logFile().waitUntilWritten(std::chrono::milliseconds(500)); };
}

void Logger::writeAll() {
    logFile().writeWaiting();
}

void Logger::changeLogFileLocation() {
    writeAll();
    const auto current = logFile().path();
    if (!UtilityFunctions::tempSystemURL || !current)
        return;
    const auto moved = *UtilityFunctions::tempSystemURL / current->filename();
    UtilityFunctions::lumamonLogFileURL = moved;
    if (moved == *current)
        return;
    if (const auto error = logFile().moveTo(moved))
        reportTrouble("Failed to change log file location: ", error);
    else
        // Nothing is left in the user's caches. The folder stays when something else is in it.
        ::rmdir(current->parent_path().c_str());
}

bool Logger::NewLogFileLocation() {
    const auto folders = platform::userLibraryFolders();
    if (folders.empty())
        return false;
    logFile().setPath(folders.front() / "LumadocDiagnostics" / "System" / ConstantsFolder::DebugOutputLogFile,
                      homeNames());
    return true;
}

// Not a regular expression: that would refuse a text with half a surrogate pair, and leave the names in it.
QString maskedUserNames(const QString &message, const QStringList &homes) {
    if (!message.contains(u'/'))
        return message;
    QString text = message;
    for (const QString &home : homes)
        text.replace(home + u'/', home.left(home.lastIndexOf(u'/') + 1) + QStringLiteral("[USER]/"));
    QStringList parts = text.split(u'/');
    for (qsizetype i = 1; i + 2 < parts.size(); ++i) {
        const bool isHomes = parts[i] == u"Users" || parts[i] == u"home";
        if (!isHomes || parts[i + 1].isEmpty())
            continue;
        parts[i + 1] = QStringLiteral("[USER]");
        // The slash after the name belongs to this match and begins no other one.
        i += 2;
    }
    return parts.join(u'/');
}
