#include "logging/LogFile.h"

#include "platform/posix/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
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

} // namespace

void LogFile::setPath(const fs::path &path) {
    const std::lock_guard lock(m_mutex);
    continueAt(path);
}

std::optional<fs::path> LogFile::path() const {
    const std::lock_guard lock(m_mutex);
    return m_path;
}

void LogFile::continueAt(const fs::path &path) {
    m_path = path;
    m_file = {};
    m_isLineOpen = false;
}

// Opening and closing the file for every line costs three times as much as the line, so it stays open for as
// long as it has a name.
bool LogFile::openForAppending() {
    struct stat status {};
    if (m_file && ::fstat(m_file.get(), &status) == 0 && status.st_nlink > 0)
        return true;
    m_isLineOpen = false;
    std::error_code error;
    m_file = openForWriting(*m_path, O_CREAT, error);
    return static_cast<bool>(m_file);
}

std::error_code LogFile::append(const QByteArray &line) {
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

std::error_code LogFile::moveTo(const fs::path &path) {
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
