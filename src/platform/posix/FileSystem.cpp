#include "platform/posix/FileSystem.h"

#include <QByteArrayList>
#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <linux/limits.h>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

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

// Copies what both files have from their positions on, or less when the source has become shorter. The kernel
// copies by itself where the file systems let it; elsewhere, and where it copies nothing, the content goes
// through a buffer. Linux.
bool copyRange(int source, int destination, off_t remaining, std::error_code &error) {
    constexpr off_t bufferBytes = 256 << 10;
    while (remaining > 0) {
        ssize_t count = uninterrupted([&] {
            return ::copy_file_range(source, nullptr, destination, nullptr,
                                     static_cast<std::size_t>(remaining), 0);
        });
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO)) {
            error = systemError();
            return false;
        }
        if (count <= 0) {
            const auto bytes =
                readAtMost(source, static_cast<std::size_t>(std::min(remaining, bufferBytes)), error);
            if (!bytes || !writeAll(destination, *bytes, error))
                return false;
            if (bytes->isEmpty())
                return true;
            count = bytes->size();
        }
        remaining -= count;
    }
    return true;
}

// Copies the ranges that hold data and leaves out the holes. Where the file system knows no holes, all is
// data.
bool copyContent(int source, int destination, off_t sizeBytes, std::error_code &error) {
    for (off_t at = 0; at < sizeBytes;) {
        off_t data = ::lseek(source, at, SEEK_DATA);
        if (data < 0 && errno == ENXIO) {
            // A hole to the end, unless the file has become shorter.
            const off_t end = std::min(sizeBytes, ::lseek(source, 0, SEEK_END));
            if (end > at && ::ftruncate(destination, end) != 0)
                error = systemError();
            return !error;
        }
        data = std::clamp(data, at, sizeBytes);
        const off_t hole = ::lseek(source, data, SEEK_HOLE);
        at = hole < 0 ? sizeBytes : std::clamp(hole, data, sizeBytes);
        if (::lseek(source, data, SEEK_SET) < 0 || ::lseek(destination, data, SEEK_SET) < 0)
            error = systemError();
        if (error || !copyRange(source, destination, at - data, error))
            return false;
    }
    return true;
}

// Gives a new file the owner, mode, access list and other extended attributes of the one that it is to
// replace; all but those that the system keeps to itself. Linux: macOS has other calls for attributes.
bool takeOver(const fs::path &existing, const struct stat &status, int file) {
    // The new file's own access list comes from its folder.
    ::fremovexattr(file, "system.posix_acl_access");
    if (::fchown(file, status.st_uid, status.st_gid) != 0 || ::fchmod(file, status.st_mode & 07777) != 0)
        return false;
    QByteArray names(XATTR_LIST_MAX, '\0');
    QByteArray value(XATTR_SIZE_MAX, '\0');
    names.truncate(std::max<ssize_t>(0, ::listxattr(existing.c_str(), names.data(), XATTR_LIST_MAX)));
    for (const QByteArray &name : names.split('\0')) {
        const ssize_t size = ::getxattr(existing.c_str(), name.constData(), value.data(), XATTR_SIZE_MAX);
        if (size >= 0 &&
            ::fsetxattr(file, name.constData(), value.constData(), static_cast<std::size_t>(size), 0) != 0 &&
            errno != EPERM && errno != EACCES && errno != ENOTSUP)
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

// Linux: macOS has the creation date in what lstat(2) gives.
std::optional<FileAttributes> fileAttributes(const fs::path &path, std::error_code &error) {
    struct statx status {};
    constexpr unsigned wanted = STATX_TYPE | STATX_SIZE | STATX_BTIME;
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, wanted, &status) != 0) {
        error = systemError();
        return std::nullopt;
    }
    error.clear();
    FileAttributes attributes;
    if (S_ISREG(status.stx_mode))
        attributes.kind = FileKind::regular;
    else if (S_ISDIR(status.stx_mode))
        attributes.kind = FileKind::folder;
    else if (S_ISLNK(status.stx_mode))
        attributes.kind = FileKind::link;
    attributes.sizeBytes = status.stx_size;
    if ((status.stx_mask & STATX_BTIME) != 0)
        attributes.creationDate = std::chrono::sys_time<std::chrono::nanoseconds>(
            std::chrono::seconds(status.stx_btime.tv_sec) +
            std::chrono::nanoseconds(status.stx_btime.tv_nsec));
    return attributes;
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
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
    if (!to) {
        error = systemError();
        return false;
    }
    if (!copyContent(from.get(), to.get(), status.st_size, error)) {
        ::unlinkat(toFolder, destination.c_str(), 0);
        return false;
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, status.st_mtim};
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
