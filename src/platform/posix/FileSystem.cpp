#include "platform/posix/FileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

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
FileDescriptor openRegular(const fs::path &path, struct stat &status, std::error_code &error,
                           int linkFlag = 0) {
    if (::stat(path.c_str(), &status) != 0) {
        error = systemError();
        return {};
    }
    if (!isRegular(status, error))
        return {};
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | linkFlag));
    if (!file || ::fstat(file.get(), &status) != 0) {
        error = systemError();
        return {};
    }
    if (!isRegular(status, error))
        return {};
    return file;
}

// The kernel copies by itself where the file systems let it; elsewhere, and where it copies nothing, the
// content goes through a buffer. Linux.
bool copyContent(int source, int destination, off_t remaining, std::error_code &error) {
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
    FileDescriptor file = openRegular(path, status, error);
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
    const bool takeOver =
        replacement == Replacement::keepOwnerAndMode && ::stat(path.c_str(), &existing) == 0;
    std::string beside = path.native() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(beside.data(), O_CLOEXEC));
    if (!file) {
        error = systemError();
        return false;
    }
    bool written = writeAll(file.get(), content, error);
    if (written && takeOver)
        written = ::fchown(file.get(), existing.st_uid, existing.st_gid) == 0 &&
                  ::fchmod(file.get(), existing.st_mode & 07777) == 0;
    written = written && ::fsync(file.get()) == 0 && ::rename(beside.c_str(), path.c_str()) == 0;
    if (!written) {
        if (!error)
            error = systemError();
        ::unlink(beside.c_str());
    }
    return written;
}

bool copyRegularFile(const fs::path &source, const fs::path &destination, std::error_code &error) {
    error.clear();
    struct stat status {};
    const FileDescriptor from = openRegular(source, status, error, O_NOFOLLOW);
    if (!from)
        return false;
    const FileDescriptor to(
        ::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
    if (!to) {
        error = systemError();
        return false;
    }
    if (!copyContent(from.get(), to.get(), status.st_size, error)) {
        ::unlink(destination.c_str());
        return false;
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, status.st_mtim};
    ::futimens(to.get(), times);
    return true;
}

FileDescriptor openFolder(const fs::path &path, std::error_code &error) {
    error.clear();
    FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder)
        error = systemError();
    return folder;
}

bool removeEntry(const FileDescriptor &folder, const fs::path &name, std::error_code &error) {
    error.clear();
    if (::unlinkat(folder.get(), name.c_str(), 0) == 0)
        return true;
    if (errno != ENOENT)
        error = systemError();
    return false;
}

void copyModificationTime(const fs::path &source, const fs::path &destination) {
    struct stat status {};
    if (::lstat(source.c_str(), &status) != 0)
        return;
    const struct timespec times[2] = {{0, UTIME_OMIT}, status.st_mtim};
    ::utimensat(AT_FDCWD, destination.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

} // namespace platform
