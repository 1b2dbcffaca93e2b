#include "platform/Sockets.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace platform {

std::size_t unsentBytes(int socket) {
    int count = 0;
    if (::ioctl(socket, SIOCOUTQ, &count) != 0 || count < 0)
        return 0;
    return static_cast<std::size_t>(count);
}

} // namespace platform
