#include "platform/posix/FileSystem.h"

#include "platform/System.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace platform {

namespace {

namespace fs = std::filesystem;

bool isRegular(const struct stat &status, std::error_code &error) {
    if (!S_ISREG(status.st_mode))
        error = std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory
                                                             : std::errc::invalid_argument);
    return S_ISREG(status.st_mode);
}

// Opens a regular file and nothing else. What a path leads to is checked before it is opened, since opening a
// pipe wakes a writer that waits there and opening a device may start something. It is checked again
// afterwards, and O_NONBLOCK set, in case something else has taken the file's place in between.
FileDescriptor openRegular(int folder, const fs::path &path, struct stat &status, std::error_code &error,
                           int linkFlag = 0) {
    if (::fstatat(folder, path.c_str(), &status, 0) != 0) {
        error = systemError();
        return {};
    }
    if (!isRegular(status, error))
        return {};
    FileDescriptor file(
        ::openat(folder, path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | linkFlag));
    if (!file || ::fstat(file.get(), &status) != 0) {
        error = systemError();
        return {};
    }
    if (!isRegular(status, error))
        return {};
    return file;
}

// Copies the ranges that hold data and leaves out the holes.
bool copyContent(int source, int destination, off_t sizeBytes, std::error_code &error) {
    for (off_t at = 0; at < sizeBytes;) {
        const auto found = nextData(source, at);
        if (!found) {
            // A hole to the end, unless the file has become shorter.
            const off_t end = std::min(sizeBytes, ::lseek(source, 0, SEEK_END));
            if (end > at && ::ftruncate(destination, end) != 0)
                error = systemError();
            return !error;
        }
        const off_t data = std::min(*found, sizeBytes);
        const off_t hole = ::lseek(source, data, SEEK_HOLE);
        at = hole < 0 ? sizeBytes : std::clamp(hole, data, sizeBytes);
        if (::lseek(source, data, SEEK_SET) < 0 || ::lseek(destination, data, SEEK_SET) < 0)
            error = systemError();
        if (error || !copyRange(source, destination, at - data, error))
            return false;
    }
    return true;
}

} // namespace

std::optional<QByteArray> readAtMost(int file, std::size_t limitBytes, std::error_code &error) {
    error.clear();
    QByteArray bytes(static_cast<qsizetype>(limitBytes), Qt::Uninitialized);
    std::size_t filled = 0;
    while (filled < limitBytes) {
        const ssize_t count =
            uninterrupted([&] { return ::read(file, bytes.data() + filled, limitBytes - filled); });
        if (count < 0) {
            error = systemError();
            return std::nullopt;
        }
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.truncate(static_cast<qsizetype>(filled));
    bytes.squeeze();
    return bytes;
}

bool writeAll(int file, QByteArrayView bytes, std::error_code &error) {
    error.clear();
    while (!bytes.isEmpty()) {
        const ssize_t count = uninterrupted(
            [&] { return ::write(file, bytes.data(), static_cast<std::size_t>(bytes.size())); });
        if (count < 0) {
            error = systemError();
            return false;
        }
        bytes = bytes.sliced(count);
    }
    return true;
}

// Any other error comes again when the data is read, or the file system knows no holes.
std::optional<off_t> nextData(int file, off_t at) {
    const off_t data = ::lseek(file, at, SEEK_DATA);
    return data < 0 && errno == ENXIO ? std::nullopt : std::optional(std::max(data, at));
}

FileKind kindOfMode(mode_t mode) {
    if (S_ISREG(mode))
        return FileKind::regular;
    if (S_ISDIR(mode))
        return FileKind::folder;
    return S_ISLNK(mode) ? FileKind::link : FileKind::special;
}

bool copyThroughBuffer(int source, int destination, off_t bytes, std::error_code &error) {
    constexpr off_t bufferBytes = 256 << 10;
    while (bytes > 0) {
        const auto part = readAtMost(source, static_cast<std::size_t>(std::min(bytes, bufferBytes)), error);
        if (!part || !writeAll(destination, *part, error))
            return false;
        if (part->isEmpty())
            return true;
        bytes -= part->size();
    }
    return true;
}

FileDescriptor openRegularFile(const fs::path &path, std::uint64_t &sizeBytes, std::error_code &error) {
    error.clear();
    struct stat status {};
    FileDescriptor file = openRegular(AT_FDCWD, path, status, error);
    sizeBytes = static_cast<std::uint64_t>(status.st_size);
    return file;
}

std::optional<QByteArray> readFile(const fs::path &path, std::size_t limitBytes, std::error_code &error) {
    std::uint64_t sizeBytes = 0;
    const FileDescriptor file = openRegularFile(path, sizeBytes, error);
    if (file && sizeBytes > limitBytes)
        error = std::make_error_code(std::errc::file_too_large);
    return error ? std::nullopt : readAtMost(file.get(), sizeBytes, error);
}

bool writeFileAtomically(const fs::path &path, const QByteArray &content, Replacement replacement,
                         std::error_code &error) {
    error.clear();
    struct stat existing {};
    const bool takesOver =
        replacement == Replacement::keepOwnerAndMode && ::stat(path.c_str(), &existing) == 0;
    std::string beside = path.native() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(beside.data(), O_CLOEXEC));
    if (!file) {
        error = systemError();
        return false;
    }
    bool written = writeAll(file.get(), content, error);
    if (written && takesOver)
        written = takeOver(path, existing, file.get());
    written = written && ::fsync(file.get()) == 0 && ::rename(beside.c_str(), path.c_str()) == 0;
    if (!written) {
        if (!error)
            error = systemError();
        ::unlink(beside.c_str());
    }
    return written;
}

bool copyRegularFile(int fromFolder, const fs::path &source, int toFolder, const fs::path &destination,
                     std::error_code &error) {
    error.clear();
    struct stat status {};
    const FileDescriptor from = openRegular(fromFolder, source, status, error, O_NOFOLLOW);
    if (!from)
        return false;
    const FileDescriptor to(::openat(toFolder, destination.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                     S_IRUSR | S_IWUSR));
    if (!to) {
        error = systemError();
        return false;
    }
    if (!copyContent(from.get(), to.get(), status.st_size, error)) {
        ::unlinkat(toFolder, destination.c_str(), 0);
        return false;
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, modificationTime(status)};
    ::futimens(to.get(), times);
    return true;
}

fs::path behindLink(const fs::path &path, std::error_code &error) {
    error.clear();
    struct stat status {};
    const bool isLink = ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    const bool isTrusted = status.st_uid == ::geteuid() || status.st_uid == 0;
    return isLink && isTrusted ? fs::canonical(path, error) : path;
}

} // namespace platform
