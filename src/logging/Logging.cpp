#include "logging/Logging.h"

#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QRegularExpression>
#include <QStringList>
#include <chrono>
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

// Copies a log to the end of another file, piece by piece, since it may be large: whole lines, unless one is
// longer than a piece. A hole, which may be larger than any disk, holds no lines and is skipped.
void copyLines(const platform::FileDescriptor &from, const platform::FileDescriptor &to,
               std::error_code &error) {
    constexpr qsizetype pieceBytes = qsizetype{1} << 20;
    for (off_t place = 0; !error && (place = ::lseek(from.get(), place, SEEK_DATA)) >= 0;) {
        QByteArray piece(pieceBytes, Qt::Uninitialized);
        const ssize_t count = platform::uninterrupted(
            [&] { return ::pread(from.get(), piece.data(), std::size_t{pieceBytes}, place); });
        if (count < 0)
            error = platform::systemError();
        if (count <= 0)
            return;
        piece.truncate(count);
        if (const qsizetype lines = piece.lastIndexOf('\n') + 1; lines > 0)
            piece.truncate(lines);
        writeOnce(to, piece, error);
        place += piece.size();
    }
}

// A line feed and a log's lines at the end of an existing file, or its lines in a new one. What cannot be
// written whole is taken back.
std::error_code appendLog(const platform::FileDescriptor &log, const fs::path &path, bool isNew) {
    std::error_code error;
    const auto file = openForWriting(path, isNew ? O_CREAT | O_EXCL : 0, error);
    if (!file || !log)
        return error;
    const off_t end = ::lseek(file.get(), 0, SEEK_END);
    writeOnce(file, isNew ? "" : "\n", error);
    copyLines(log, file, error);
    if (error)
        (void)!::ftruncate(file.get(), end);
    return error;
}

// Moves a log to a place where there is nothing yet.
std::error_code renameLog(const platform::FileDescriptor &log, const fs::path &from, const fs::path &to) {
    ::fchmod(log.get(), S_IRUSR | S_IWUSR);
    if (::rename(from.c_str(), to.c_str()) == 0)
        return {};
    // The places are perhaps on two disks.
    const fs::path beside = to.native() + ".moving";
    ::unlink(beside.c_str());
    std::error_code error = appendLog(log, beside, true);
    if (!error && ::rename(beside.c_str(), to.c_str()) != 0)
        error = platform::systemError();
    if (error)
        ::unlink(beside.c_str());
    return error;
}

// Where lines go: they are appended whole, to a file that is created when it is missing.
class LogFile {
public:
    void setPath(const fs::path &path, const QStringList &homes) {
        const std::lock_guard lock(m_mutex);
        m_homes = homes;
        continueAt(path);
    }

    QStringList homes() const {
        const std::lock_guard lock(m_mutex);
        return m_homes;
    }

    std::optional<fs::path> path() const {
        const std::lock_guard lock(m_mutex);
        return m_path;
    }

    // In one write; gives the error when that fails. Without a path it does nothing. A file that is missing
    // is created.
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
        const fs::path old = *m_path;
        std::uint64_t sizeBytes = 0;
        const auto log = platform::openRegularFile(old, sizeBytes, error);
        std::error_code failure;
        if (fs::exists(path, failure))
            failure = appendLog(log, path, false);
        else
            failure = log ? renameLog(log, old, path) : error;
        if (failure)
            return failure;
        continueAt(path);
        const bool isGone = ::unlink(old.c_str()) == 0 || (log && errno == ENOENT);
        return isGone ? std::error_code() : platform::systemError();
    }

private:
    void continueAt(const fs::path &path) {
        m_path = path;
        m_file = {};
        m_isLineOpen = false;
    }

    // Opening and closing the file for every line costs three times as much as the line, so it stays open for
    // as long as it is the file at its path.
    bool openForAppending() {
        if (m_file && isAtItsPath())
            return true;
        m_isLineOpen = false;
        std::error_code error;
        m_file = openForWriting(*m_path, O_CREAT, error);
        return m_file && ::fstat(m_file.get(), &m_opened) == 0;
    }

    // Others may move, remove or replace the file. Looking that up for every line would add a fifth to its
    // cost.
    bool isAtItsPath() {
        struct stat status {};
        if (::fstat(m_file.get(), &status) != 0 || status.st_nlink == 0)
            return false;
        const auto now = std::chrono::steady_clock::now();
        if (now - m_lastLook < std::chrono::milliseconds(5))
            return true;
        m_lastLook = now;
        return ::lstat(m_path->c_str(), &status) == 0 && status.st_dev == m_opened.st_dev &&
               status.st_ino == m_opened.st_ino;
    }

    mutable std::mutex m_mutex;
    std::optional<fs::path> m_path;
    QStringList m_homes;
    platform::FileDescriptor m_file;
    struct stat m_opened {};
    std::chrono::steady_clock::time_point m_lastLook;
    // Whether the last line ends in the middle, because the disk was full.
    bool m_isLineOpen = false;
};

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

// Standard output may be a pipe that nobody reads: what does not fit is dropped, since a write would wait.
void report(const char *failure, const std::error_code &error) {
    const std::string line = failure + error.message() + '\n';
    struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0)
        (void)!::write(STDOUT_FILENO, line.data(), line.size());
}

void write(const char *label, platform::OSLogType type, const QString &shown) {
    const QByteArray line =
        QByteArray(label).append(timeStamp()).append(": ").append(shown.toUtf8()).append('\n');
    if (const auto error = logFile().append(line))
        report("Failed to write to log file: ", error);
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
        report("Failed to create log directory: ", error);
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
