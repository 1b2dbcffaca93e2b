#include "logging/Logging.h"

#include "logging/LogFile.h"
#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"

#include <QStringList>
#include <ctime>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace {

// Never destroyed: other threads may log until the process has ended.
LogFile &logFile() {
    static LogFile *const file = new LogFile;
    return *file;
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

// The current time as "2024-03-05 14:07:09 +0000".
QByteArray timeStamp() {
    const std::time_t now = std::time(nullptr);
    struct tm parts {};
    char text[32];
    const std::size_t size = std::strftime(text, sizeof text, "%F %T +0000", ::gmtime_r(&now, &parts));
    return QByteArray(text, static_cast<qsizetype>(size));
}

// Standard output may be a pipe that nobody reads: what does not fit is dropped, since a write would wait.
void report(const char *failure, const std::error_code &error) {
    const std::string line = failure + error.message() + '\n';
    struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0)
        (void)!::write(STDOUT_FILENO, line.data(), line.size());
}

void write(const char *label, platform::OSLogType type, const QString &message) {
    const QByteArray line = label + timeStamp() + ": " + message.toUtf8() + '\n';
    if (const auto error = logFile().append(line))
        report("Failed to write to log file: ", error);
    platform::SystemLog::send(subsystem(), QStringLiteral("MyApp"), type,
                              QString::fromLatin1(label) + message);
}

} // namespace

void Logger::setupLogFile() {
    const auto folders = platform::userCachesFolders();
    if (folders.empty())
        platform::fatal("The user has no caches folder.");
    const auto folder = folders.front() / "Logs";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        report("Failed to create log directory: ", error);
        return;
    }
    logFile().setPath(folder / ConstantsFolder::DebugOutputLogFile);
}

void Logger::log(const QString &message, platform::OSLogType type) {
    write("", type, message);
}

void Logger::logInfo(const QString &message) {
    write("INFO: ", platform::OSLogType::info, maskedUserNames(message));
}

// Warnings go to the system log at info: nothing that this program warns about concerns the system.
void Logger::logWarning(const QString &message) {
    write("WARNING: ", platform::OSLogType::info, maskedUserNames(message));
}

void Logger::logError(const QString &message) {
    write("ERROR: ", platform::OSLogType::error, maskedUserNames(message));
}

void Logger::changeLogFileLocation() {
    const auto current = logFile().path();
    if (!UtilityFunctions::tempSystemURL || !current)
        return;
    const auto moved = *UtilityFunctions::tempSystemURL / current->filename();
    UtilityFunctions::lumamonLogFileURL = moved;
    if (moved == *current)
        return;
    if (const auto error = logFile().moveTo(moved))
        report("Failed to change log file location: ", error);
    else
        // Nothing is left in the user's caches. The folder stays when something else is in it.
        ::rmdir(current->parent_path().c_str());
}

bool Logger::NewLogFileLocation() {
    const auto folders = platform::userLibraryFolders();
    if (folders.empty())
        return false;
    logFile().setPath(folders.front() / "LumadocDiagnostics" / "System" /
                      ConstantsFolder::DebugOutputLogFile);
    return true;
}

// Not a regular expression: that would refuse a text with half a surrogate pair, and leave the names in it.
QString maskedUserNames(const QString &message) {
    QStringList parts = message.split(u'/');
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
