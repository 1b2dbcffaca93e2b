#include "platform/System.h"

#include "platform/posix/FileSystem.h"

#include <QByteArray>
#include <QByteArrayList>
#include <algorithm>
#include <csignal>
#include <linux/limits.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

namespace platform {

namespace fs = std::filesystem;

fs::path programFolder() {
    return "Linux";
}

fs::path runningExecutable() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

void nameThread(const char *name) {
    ::prctl(PR_SET_NAME, name);
}

Pipe openPipe() {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) == 0)
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// An old kernel has none, and neither have some sandboxes.
FileDescriptor endOf(pid_t child) {
    return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
}

bool staysWithParent(pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return ::getppid() == parent;
}

struct timespec modificationTime(const struct stat &status) {
    return status.st_mtim;
}

// The kernel copies by itself where the file systems let it.
bool copyRange(int source, int destination, off_t bytes, std::error_code &error) {
    while (bytes > 0) {
        const ssize_t count = uninterrupted([&] {
            return ::copy_file_range(source, nullptr, destination, nullptr, static_cast<std::size_t>(bytes),
                                     0);
        });
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO)) {
            error = systemError();
            return false;
        }
        if (count <= 0)
            return copyThroughBuffer(source, destination, bytes, error);
        bytes -= count;
    }
    return true;
}

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

std::optional<FileAttributes> fileAttributes(const fs::path &path, std::error_code &error) {
    struct statx status {};
    constexpr unsigned wanted = STATX_TYPE | STATX_SIZE | STATX_BTIME;
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, wanted, &status) != 0) {
        error = systemError();
        return std::nullopt;
    }
    error.clear();
    FileAttributes attributes{
        .kind = kindOfMode(status.stx_mode), .sizeBytes = status.stx_size, .creationDate = {}};
    if ((status.stx_mask & STATX_BTIME) != 0)
        attributes.creationDate = std::chrono::sys_time<std::chrono::nanoseconds>(
            std::chrono::seconds(status.stx_btime.tv_sec) +
            std::chrono::nanoseconds(status.stx_btime.tv_nsec));
    return attributes;
}

} // namespace platform
