#include "test_support/LoopbackListener.h"

#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test_support {

namespace {

// A socket of this machine's, bound or connected to a port by `attach`; ends the process when that fails.
int loopbackSocket(int (*attach)(int, const struct sockaddr *, socklen_t), int port) {
    const int result = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // Small, so that a client soon feels it when nothing is read. Accepted sockets take it over.
    constexpr int receiveBufferBytes = 128 * 1024;
    ::setsockopt(result, SOL_SOCKET, SO_RCVBUF, &receiveBufferBytes, sizeof receiveBufferBytes);
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (attach(result, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) != 0)
        std::abort();
    return result;
}

bool sendAll(int socket, std::string_view bytes) {
    return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// Passes on what one side sends; ends both when that side has ended.
void passOn(int from, int to) {
    std::array<char, 65536> buffer{};
    ssize_t count = 0;
    do {
        count = ::recv(from, buffer.data(), buffer.size(), 0);
    } while (count > 0 && sendAll(to, std::string_view(buffer.data(), static_cast<std::size_t>(count))));
    ::shutdown(from, SHUT_RDWR);
    ::shutdown(to, SHUT_RDWR);
}

} // namespace

LoopbackListener::LoopbackListener(std::function<void(int)> serve)
    : m_serve(std::move(serve))
    , m_socket(loopbackSocket(::bind, 0)) {
    if (::listen(m_socket, SOMAXCONN) != 0)
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

void ConnectProxy::serve(int socket) const {
    std::string request;
    char byte = 0;
    while (!request.ends_with("\r\n\r\n") && ::recv(socket, &byte, 1, 0) == 1)
        request += byte;
    sendAll(socket, "HTTP/1.1 " + std::to_string(m_status) + " Answer\r\n\r\n");
    const std::size_t colon = request.find(':');
    if (m_status != 200 || colon == std::string::npos)
        return;
    const int target = loopbackSocket(::connect, std::atoi(request.c_str() + colon + 1));
    std::thread answers(passOn, target, socket);
    passOn(socket, target);
    answers.join();
    ::close(target);
}

} // namespace test_support
