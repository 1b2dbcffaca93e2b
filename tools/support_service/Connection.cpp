#include "Connection.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <fcntl.h>
#include <linux/sockios.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <tuple>
#include <utility>

namespace support_service {

namespace {

using Clock = std::chrono::steady_clock;

std::pair<std::string, int> address(int socket, decltype(&getpeername) which) {
    sockaddr_in in{};
    socklen_t size = sizeof in;
    if (which(socket, reinterpret_cast<sockaddr *>(&in), &size) != 0 || in.sin_family != AF_INET)
        return {};
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &in.sin_addr, text.data(), text.size());
    return {text.data(), ntohs(in.sin_port)};
}

/// Runs one OpenSSL operation until it is done or the connection is gone.
template <typename Operation>
int complete(SSL *tls, Operation operation) {
    while (true) {
        ERR_clear_error();
        const int result = operation();
        if (result > 0)
            return result;
        const int error = SSL_get_error(tls, result);
        if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE)
            return error == SSL_ERROR_ZERO_RETURN ? 0 : -1;
    }
}

} // namespace

bool sleepUnlessStopped(const std::stop_token &stop, std::chrono::milliseconds duration) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_until(lock, stop, Clock::now() + duration, [] { return false; });
    return !stop.stop_requested();
}

void sleepUntilStopped(const std::stop_token &stop) {
    while (sleepUnlessStopped(stop, std::chrono::hours(1))) {
    }
}

Connection::Connection(int socket, SSL_CTX *context, std::stop_token stop)
    : m_socket(socket)
    , m_tls(SSL_new(context), SSL_free)
    , m_stop(std::move(stop)) {
    fcntl(m_socket, F_SETFD, FD_CLOEXEC);
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    SSL_set_app_data(m_tls.get(), this);
    SSL_set_fd(m_tls.get(), m_socket);
}

Connection::~Connection() {
    close(m_socket);
}

bool Connection::handshake() {
    m_established = complete(m_tls.get(), [this] { return SSL_accept(m_tls.get()); }) > 0;
    return m_established;
}

void Connection::sayGoodbye() {
    if (m_established && !m_stop.stop_requested())
        SSL_shutdown(m_tls.get());
}

Connection &Connection::of(const SSL *tls) {
    return *static_cast<Connection *>(SSL_get_app_data(tls));
}

void Connection::setReadRate(std::uint64_t bytesPerSecond) {
    m_readBytesPerSecond = bytesPerSecond;
    m_pacedBytes = 0;
    m_pacedSince = Clock::now();
}

void Connection::setReadLimit(std::uint64_t bytes, std::function<void()> reached) {
    m_readLimit = bytes;
    m_limitReached = std::move(reached);
}

ssize_t Connection::read(char *bytes, size_t size) {
    if (m_readLimit == 0 && m_limitReached)
        std::exchange(m_limitReached, nullptr)();
    if (m_finished || m_readLimit == 0 || m_stop.stop_requested())
        return -1;

    std::uint64_t most = std::min<std::uint64_t>({size, m_readLimit, 1U << 20});
    if (m_readBytesPerSecond > 0)
        most = std::min(most, std::max<std::uint64_t>(1, m_readBytesPerSecond / 20));
    const int taken =
        complete(m_tls.get(), [&] { return SSL_read(m_tls.get(), bytes, static_cast<int>(most)); });
    if (taken <= 0) {
        m_established = taken == 0;
        return taken;
    }

    const auto count = static_cast<std::uint64_t>(taken);
    m_readLimit -= count;
    if (m_readBytesPerSecond > 0) {
        m_pacedBytes += count;
        const auto due = m_pacedSince + std::chrono::milliseconds(1000 * m_pacedBytes / m_readBytesPerSecond);
        const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
        if (wait.count() > 0 && !sleepUnlessStopped(m_stop, wait))
            return -1;
    }
    return taken;
}

ssize_t Connection::write(const char *bytes, size_t size) {
    // What the library still says on a finished connection is swallowed, so that it ends in peace.
    if (m_finished)
        return static_cast<ssize_t>(size);
    return send({bytes, size}) ? static_cast<ssize_t>(size) : -1;
}

bool Connection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        if (m_finished || m_stop.stop_requested())
            return false;
        const int most = static_cast<int>(std::min<std::size_t>(bytes.size(), 1U << 20));
        const int sent = complete(m_tls.get(), [&] { return SSL_write(m_tls.get(), bytes.data(), most); });
        if (sent <= 0) {
            m_established = false;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void Connection::waitUntilSent() const {
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    int waiting = 0;
    while (Clock::now() < deadline && ioctl(m_socket, SIOCOUTQ, &waiting) == 0 && waiting > 0 &&
           sleepUnlessStopped(m_stop, std::chrono::milliseconds(1))) {
    }
}

void Connection::reset() {
    waitUntilSent();
    // Without lingering, closing the socket discards what waits in it and sends a reset.
    const linger none{.l_onoff = 1, .l_linger = 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    m_established = false;
    m_finished = true;
}

void Connection::shutDown() {
    ::shutdown(m_socket, SHUT_RDWR);
}

void Connection::get_remote_ip_and_port(std::string &ip, int &port) const {
    std::tie(ip, port) = address(m_socket, getpeername);
}

void Connection::get_local_ip_and_port(std::string &ip, int &port) const {
    std::tie(ip, port) = address(m_socket, getsockname);
}

} // namespace support_service
