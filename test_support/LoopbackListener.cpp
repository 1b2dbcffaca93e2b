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

struct sockaddr_in loopback(int port) {
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int boundSocket() {
    const int result = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // Small, so that a client soon feels it when nothing is read. Accepted sockets take it over.
    constexpr int receiveBufferBytes = 128 * 1024;
    ::setsockopt(result, SOL_SOCKET, SO_RCVBUF, &receiveBufferBytes, sizeof receiveBufferBytes);
    const auto address = loopback(0);
    if (::bind(result, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) != 0)
        std::abort();
    return result;
}

int portOf(int socket) {
    struct sockaddr_in address {};
    socklen_t size = sizeof address;
    ::getsockname(socket, reinterpret_cast<struct sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
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
    , m_socket(boundSocket())
    , m_port(portOf(m_socket)) {
    if (::listen(m_socket, SOMAXCONN) != 0)
        std::abort();
    m_listener = std::thread(&LoopbackListener::listen, this);
}

LoopbackListener::~LoopbackListener() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        for (const int socket : m_open)
            ::shutdown(socket, SHUT_RDWR);
    }
    ::shutdown(m_socket, SHUT_RDWR);
    m_listener.join();
    for (std::thread &thread : m_threads)
        thread.join();
    ::close(m_socket);
}

std::size_t LoopbackListener::connections() const {
    const std::lock_guard lock(m_mutex);
    return m_connections;
}

void LoopbackListener::listen() {
    while (true) {
        const int socket = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0)
            return;
        const std::lock_guard lock(m_mutex);
        ++m_connections;
        if (!m_stopped)
            m_open.insert(socket);
        else
            ::shutdown(socket, SHUT_RDWR);
        m_threads.emplace_back([this, socket] {
            // To a client that has gone, sending fails; it ends no process.
            sigset_t brokenPipe;
            sigemptyset(&brokenPipe);
            sigaddset(&brokenPipe, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
            m_serve(socket);
            const std::lock_guard ending(m_mutex);
            m_open.erase(socket);
            ::close(socket);
        });
    }
}

ConnectProxy::ConnectProxy(int status)
    : m_status(status)
    , m_listener([this](int socket) { serve(socket); }) {}

std::string ConnectProxy::url() const {
    return "http://127.0.0.1:" + std::to_string(m_listener.port());
}

std::vector<std::string> ConnectProxy::requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

void ConnectProxy::serve(int socket) {
    std::string request;
    char byte = 0;
    while (!request.ends_with("\r\n\r\n") && ::recv(socket, &byte, 1, 0) == 1)
        request += byte;
    const std::string line = request.substr(0, request.find("\r\n"));
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(line);
    }
    const std::size_t colon = line.find(':');
    if (m_status != 200 || !line.starts_with("CONNECT ") || colon == std::string::npos) {
        sendAll(socket, "HTTP/1.1 " + std::to_string(m_status) + " No\r\nContent-Length: 0\r\n\r\n");
        return;
    }
    const auto address = loopback(std::atoi(line.c_str() + colon + 1));
    const int target = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(target, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) == 0 &&
        sendAll(socket, "HTTP/1.1 200 Connected\r\n\r\n")) {
        std::thread answers(passOn, target, socket);
        passOn(socket, target);
        answers.join();
    }
    ::close(target);
}

int closedPort() {
    return LoopbackListener([](int) {}).port();
}

} // namespace test_support
