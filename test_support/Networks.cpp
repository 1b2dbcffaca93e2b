#include "test_support/Networks.h"

#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

namespace {

void require(bool done) {
    if (!done)
        ::_exit(126);
}

void setAddress(struct sockaddr &address, std::uint32_t value) {
    auto *internet = reinterpret_cast<struct sockaddr_in *>(&address);
    internet->sin_family = AF_INET;
    internet->sin_addr.s_addr = htonl(value);
}

} // namespace

void enterNoNetwork() {
    require(::unshare(CLONE_NEWNET) == 0);
}

void enterLonelyNetwork() {
    enterNoNetwork();
    // The interface lives as long as this descriptor is open, which is as long as the program runs.
    const int tunnel = ::open("/dev/net/tun", O_RDWR);
    struct ifreq request {};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strcpy(request.ifr_name, "lonely0");
    require(tunnel >= 0 && ::ioctl(tunnel, TUNSETIFF, &request) == 0);

    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    constexpr std::uint32_t ownAddress = 0xC0000202; // 192.0.2.2, from the addresses kept for examples
    setAddress(request.ifr_addr, ownAddress);
    require(::ioctl(control, SIOCSIFADDR, &request) == 0);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    require(::ioctl(control, SIOCSIFFLAGS, &request) == 0);
}

bool canEnter(void (*network)()) {
    const pid_t child = ::fork();
    if (child == 0) {
        network();
        ::_exit(0);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

} // namespace test_support
