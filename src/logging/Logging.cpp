#include "logging/Logging.h"

#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"

#include <QStringList>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

// A log is moved through memory. No honest log is this large.
constexpr std::size_t moveLimitBytes = std::size_t{256} << 20;

// In one write, so that a line is whole whoever else writes to the file. Gives how much of it was written.
ssize_t writeOnce(const platform::FileDescriptor &file, const QByteArray &bytes, std::error_code &error) {
    const ssize_t written = platform::uninterrupted(
        [&] { return ::write(file.get(), bytes.constData(), static_cast<std::size_t>(bytes.size())); });
    if (written < 0)
        error = platform::systemError();
    else if (written < bytes.size())
        error = std::make_error_code(std::errc::no_space_on_device);
    return written;
}

platform::FileDescriptor openForWriting(const fs::path &path, int ifMissing, std::error_code &error) {
    constexpr int flags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    platform::FileDescriptor file(::open(path.c_str(), flags | ifMissing, S_IRUSR | S_IWUSR));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        error = platform::systemError();
    else if (!S_ISREG(status.st_mode))
        error = std::make_error_code(std::errc::invalid_argument);
    return error ? platform::FileDescriptor() : std::move(file);
}

std::error_code appendToExisting(const fs::path &path, const std::optional<QByteArray> &lines) {
    std::error_code error;
    const auto file = openForWriting(path, 0, error);
    if (file && lines)
        writeOnce(file, '\n' + *lines, error);
    return error;
}

// Where lines go: they are appended whole, to a file that is created when it is missing.
class LogFile {
public:
    void setPath(const fs::path &path) {
        const std::lock_guard lock(m_mutex);
        continueAt(path);
    }

    std::optional<fs::path> path() const {
        const std::lock_guard lock(m_mutex);
        return m_path;
    }

    // In one write; gives the error when that fails. Without a path it does nothing. A file that is missing,
    // or was removed since the last line, is created.
    std::error_code append(const QByteArray &line) {
        const std::lock_guard lock(m_mutex);
        if (!m_path)
            return {};
        std::error_code error;
        if (!openForAppending()) {
            platform::writeFileAtomically(*m_path, line, platform::Replacement::privateFile, error);
            return error;
        }
        const ssize_t written = writeOnce(m_file, m_isLineOpen ? '\n' + line : line, error);
        m_isLineOpen = written > 0 ? static_cast<bool>(error) : m_isLineOpen;
        return error;
    }

    // Moves the lines so far to the end of the file at `path`, and continues there; needs a path. On an error
    // the log stays where it is, unless only the removal of the old file failed.
    std::error_code moveTo(const fs::path &path) {
        const std::lock_guard lock(m_mutex);
        std::error_code error;
        if (fs::equivalent(*m_path, path, error)) {
            continueAt(path);
            return {};
        }
        const auto lines = platform::readFile(*m_path, moveLimitBytes, error);
        if (error == std::errc::file_too_large)
            return error;
        std::error_code failure;
        if (fs::exists(path, failure))
            failure = appendToExisting(path, lines);
        else if (lines)
            platform::writeFileAtomically(path, *lines, platform::Replacement::privateFile, failure);
        else
            failure = error;
        if (failure)
            return failure;
        const fs::path old = *m_path;
        continueAt(path);
        return ::unlink(old.c_str()) == 0 ? std::error_code() : platform::systemError();
    }

private:
    void continueAt(const fs::path &path) {
        m_path = path;
        m_file = {};
        m_isLineOpen = false;
    }

    // Opening and closing the file for every line costs three times as much as the line, so it stays open for
    // as long as it has a name.
    bool openForAppending() {
        struct stat status {};
        if (m_file && ::fstat(m_file.get(), &status) == 0 && status.st_nlink > 0)
            return true;
        m_isLineOpen = false;
        std::error_code error;
        m_file = openForWriting(*m_path, O_CREAT, error);
        return static_cast<bool>(m_file);
    }

    mutable std::mutex m_mutex;
    std::optional<fs::path> m_path;
    platform::FileDescriptor m_file;
    // Whether the last line ends in the middle, because the disk was full.
    bool m_isLineOpen = false;
};

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
    fs::create_directories(folder, error);
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
