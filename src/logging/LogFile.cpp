#include "logging/LogFile.h"

#include "platform/posix/FileSystem.h"
#include "platform/posix/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <string>
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
    for (auto place = platform::nextData(from.get(), 0); place && !error;) {
        QByteArray piece(pieceBytes, Qt::Uninitialized);
        const ssize_t count = platform::uninterrupted(
            [&] { return ::pread(from.get(), piece.data(), std::size_t{pieceBytes}, *place); });
        if (count < 0)
            error = platform::systemError();
        if (count <= 0)
            return;
        piece.truncate(count);
        if (const qsizetype lines = piece.lastIndexOf('\n') + 1; lines > 0)
            piece.truncate(lines);
        writeOnce(to, piece, error);
        place = platform::nextData(from.get(), *place + piece.size());
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

} // namespace

void reportTrouble(const char *failure, const std::error_code &error) {
    const std::string line = failure + error.message() + '\n';
    struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0)
        (void)!::write(STDOUT_FILENO, line.data(), line.size());
}

void LogFile::setPath(const fs::path &path, const QStringList &homes) {
    const std::lock_guard lock(m_mutex);
    continueAt(path);
    const std::lock_guard waitingLock(m_waitingMutex);
    m_homes = homes;
}

QStringList LogFile::homes() const {
    const std::lock_guard lock(m_waitingMutex);
    return m_homes;
}

std::optional<fs::path> LogFile::path() const {
    const std::lock_guard lock(m_mutex);
    return m_path;
}

void LogFile::spareThisThread() {
    const auto writeOn = [this] {
        for (std::unique_lock lock(m_waitingMutex);; lock.lock()) {
            m_changed.wait(lock, [this] { return !m_waiting.empty(); });
            lock.unlock();
            writeWaiting();
        }
    };
    if (std::thread writer = platform::startThread("Log", writeOn); writer.joinable()) {
        writer.detach();
        m_spared = std::this_thread::get_id();
    }
}

void LogFile::append(const QByteArray &line) {
    std::list<QByteArray> lines = {line};
    {
        const std::lock_guard lock(m_waitingMutex);
        m_waiting.splice(m_waiting.end(), lines);
    }
    if (std::this_thread::get_id() == m_spared)
        m_changed.notify_all();
    else
        writeWaiting();
}

void LogFile::writeWaiting() {
    const std::lock_guard lock(m_mutex);
    std::unique_lock waitingLock(m_waitingMutex);
    const auto waiting = std::exchange(m_waiting, {});
    m_isWriting = true;
    waitingLock.unlock();
    QByteArray lines;
    for (const QByteArray &line : waiting)
        lines += line;
    std::error_code error;
    if (!lines.isEmpty() && m_path)
        error = write(lines);
    if (error)
        reportTrouble("Failed to write to log file: ", error);
    waitingLock.lock();
    m_isWriting = false;
    m_changed.notify_all();
}

void LogFile::waitUntilWritten(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_waitingMutex);
    m_changed.wait_for(lock, limit, [this] { return m_waiting.empty() && !m_isWriting; });
}

std::error_code LogFile::moveTo(const fs::path &path) {
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

std::error_code LogFile::write(const QByteArray &lines) {
    std::error_code error;
    if (!openForAppending()) {
        platform::writeFileAtomically(*m_path, lines, platform::Replacement::privateFile, error);
        return error;
    }
    const ssize_t written = writeOnce(m_file, m_isLineOpen ? '\n' + lines : lines, error);
    m_isLineOpen = written > 0 ? static_cast<bool>(error) : m_isLineOpen;
    return error;
}

void LogFile::continueAt(const fs::path &path) {
    m_path = path;
    m_file = {};
    m_isLineOpen = false;
}

// Opening and closing the file for every line costs three times as much as the line, so it stays open for
// as long as it is the file at its path.
bool LogFile::openForAppending() {
    if (m_file && isAtItsPath())
        return true;
    m_isLineOpen = false;
    std::error_code error;
    m_file = openForWriting(*m_path, O_CREAT, error);
    return m_file && ::fstat(m_file.get(), &m_opened) == 0;
}

// Others may move, remove or replace the file. Looking that up for every line would add a fifth to its
// cost.
bool LogFile::isAtItsPath() {
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
