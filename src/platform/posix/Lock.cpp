#include "platform/posix/Lock.h"

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Text.h"

#include <sys/file.h>
#include <sys/stat.h>

namespace platform {

// Whoever can open a file can lock it, so one that others can open is of no use.
Lock lockForLife(const std::filesystem::path &folder, const QString &name) {
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
    const std::filesystem::path path = folder / pathFromText(name + QStringLiteral(".lock"));
    if (!path.is_absolute())
        return Lock::impossible;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    FileDescriptor file(::open(path.c_str(), flags, ownerOnly));
    struct stat status {};
    if (!file || ::fchmod(file.get(), ownerOnly) != 0 || ::fstat(file.get(), &status) != 0 ||
        status.st_uid != ::geteuid() || status.st_mode != (S_IFREG | ownerOnly))
        return Lock::impossible;
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? Lock::taken : Lock::impossible;
    static_cast<void>(file.release());
    return Lock::held;
}

} // namespace platform
