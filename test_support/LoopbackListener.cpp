#include "test_support/LoopbackListener.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test_support {

LoopbackListener::LoopbackListener(std::function<void(int)> serve, Reach reach)
    : m_serve(std::move(serve))
    , m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    // Small, so that a client soon feels it when nothing is read, and hears in small steps of what is.
    // Accepted sockets take it over.
    constexpr int receiveBufferBytes = 16 * 1024;
    if (reach == Reach::loopback)
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receiveBufferBytes, sizeof receiveBufferBytes);
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(reach == Reach::loopback ? INADDR_LOOPBACK : INADDR_ANY);
    if (::bind(m_socket, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(m_socket, SOMAXCONN) != 0)
        std::abort();
    m_listener = std::thread(&LoopbackListener::listen, this);
}

LoopbackListener::~LoopbackListener() {
    // Nobody is accepted after that.
    ::shutdown(m_socket, SHUT_RDWR);
    m_listener.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const int socket : m_open)
            ::shutdown(socket, SHUT_RDWR);
    }
    for (std::thread &thread : m_threads)
        thread.join();
    ::close(m_socket);
}

int LoopbackListener::port() const {
    struct sockaddr_in address {};
    socklen_t size = sizeof address;
    ::getsockname(m_socket, reinterpret_cast<struct sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

std::size_t LoopbackListener::connections() const {
    const std::lock_guard lock(m_mutex);
    return m_threads.size();
}

void LoopbackListener::listen() {
    for (int socket = 0; (socket = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        const std::lock_guard lock(m_mutex);
        m_open.insert(socket);
        m_threads.emplace_back(&LoopbackListener::serve, this, socket);
    }
}

void LoopbackListener::serve(int socket) {
    // To a client that has gone, sending fails; it ends no process.
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
    m_serve(socket);
    const std::lock_guard lock(m_mutex);
    m_open.erase(socket);
    ::close(socket);
}

} // namespace test_support
