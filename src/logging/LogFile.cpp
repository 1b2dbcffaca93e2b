#include "logging/LogFile.h"

#include "platform/FileSystem.h"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>

namespace {

std::error_code systemError() {
    return {errno, std::generic_category()};
}

// One write, so that a line is whole whoever else writes to the file. A disk that fills up within a line
// leaves the part that fitted.
std::error_code appendTo(const platform::FileDescriptor &file, const QByteArray &bytes) {
    while (true) {
        const ssize_t written = ::write(file.get(), bytes.constData(), static_cast<std::size_t>(bytes.size()));
        if (written == bytes.size())
            return {};
        if (written >= 0)
            return std::make_error_code(std::errc::no_space_on_device);
        if (errno != EINTR)
            return systemError();
    }
}

platform::FileDescriptor openExisting(const std::filesystem::path &path) {
    return platform::FileDescriptor(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
}

} // namespace

void LogFile::setPath(const std::filesystem::path &path) {
    const std::lock_guard lock(m_mutex);
    m_path = path;
    m_file = {};
}

std::optional<std::filesystem::path> LogFile::path() const {
    const std::lock_guard lock(m_mutex);
    return m_path;
}

// Opening and closing the file for every line costs three times as much as the line. The open file serves as
// long as it still has a name.
bool LogFile::openForAppending() {
    struct stat status {};
    if (m_file && ::fstat(m_file.get(), &status) == 0 && status.st_nlink > 0)
        return true;
    m_file = openExisting(*m_path);
    return static_cast<bool>(m_file);
}

std::error_code LogFile::append(const QByteArray &line) {
    const std::lock_guard lock(m_mutex);
    if (!m_path)
        return {};
    if (openForAppending())
        return appendTo(m_file, line);
    std::error_code error;
    platform::writeFileAtomically(*m_path, line, platform::Replacement::privateFile, error);
    return error;
}

std::error_code LogFile::moveTo(const std::filesystem::path &path) {
    constexpr std::size_t unlimited = std::numeric_limits<qsizetype>::max();
    const std::lock_guard lock(m_mutex);
    std::error_code error;
    const auto lines = platform::readFile(*m_path, unlimited, error);
    std::error_code missing;
    if (!std::filesystem::exists(path, missing)) {
        if (!lines || !platform::writeFileAtomically(path, *lines, platform::Replacement::privateFile, error))
            return error;
    } else {
        const auto existing = openExisting(path);
        if (!existing)
            return systemError();
        if (lines) {
            if ((error = appendTo(existing, '\n' + *lines)))
                return error;
        }
    }
    const std::filesystem::path old = *m_path;
    m_path = path;
    m_file = {};
    std::filesystem::remove(old, error);
    return error;
}
