#include "platform/linux/helpers/system_profiler/Output.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace system_profiler {

namespace {

std::error_code systemError() {
    return {errno, std::generic_category()};
}

} // namespace

std::error_code writeToEnd(int descriptor, const QByteArray &bytes) {
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written =
            ::write(descriptor, bytes.constData() + done, static_cast<std::size_t>(bytes.size() - done));
        if (written >= 0) {
            done += written;
        } else if (errno == EAGAIN) {
            struct pollfd writable {
                descriptor, POLLOUT, 0
            };
            ::poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return systemError();
        }
    }
    return ::close(descriptor) == 0 ? std::error_code() : systemError();
}

} // namespace system_profiler
