#include "platform/SingleInstance.h"

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform {

namespace {

// Of processes that see each other: those in a container of their own are no copies of one outside.
QByteArray claimName(const QString &identifier) {
    std::error_code error;
    const auto processes = std::filesystem::read_symlink("/proc/self/ns/pid", error);
    return identifier.toUtf8() + ' ' + QByteArray::number(::geteuid()) + ' ' +
           QByteArray::fromStdString(processes.native());
}

} // namespace

// An abstract socket address (unix(7)): it leaves nothing on the disk, and is free again when its process has
// ended.
bool claimSingleInstance(const QString &identifier) {
    const QByteArray name = claimName(identifier);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (static_cast<std::size_t>(name.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path + 1, name.constData(), static_cast<std::size_t>(name.size()));
    const auto addressBytes =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(name.size()));
    const int claim = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (claim < 0)
        return false;
    if (::bind(claim, reinterpret_cast<const sockaddr *>(&address), addressBytes) == 0)
        return true;
    ::close(claim);
    return false;
}

} // namespace platform
