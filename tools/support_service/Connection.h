// One accepted TLS connection: what the HTTP library reads from and writes to, and where a test's faults
// are made, on the bytes themselves.
//
// Belongs to the one thread that serves it. `shutDown` alone may be called by any thread, and makes every
// blocked or later read and write fail.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <httplib.h>
#include <limits>
#include <memory>
#include <mutex>
#include <openssl/types.h>
#include <stop_token>
#include <string_view>

namespace support_service {

/// Sleeps for `duration`; false as soon as a stop is requested.
bool sleepUnlessStopped(const std::stop_token &stop, std::chrono::milliseconds duration);
/// Sleeps until a stop is requested.
void sleepUntilStopped(const std::stop_token &stop);

class Connection final : public httplib::Stream {
public:
    /// Takes the socket over and closes it in the end.
    Connection(int socket, SSL_CTX *context, std::stop_token stop);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    bool handshake();
    /// Tells the other side that nothing more will come, where the connection still stands.
    void sayGoodbye();
    /// The connection that this TLS handle was made by.
    static Connection &of(const SSL *tls);
    const SSL *tls() const { return m_tls.get(); }

    /// Reads no faster than this; 0 for no limit.
    void setReadRate(std::uint64_t bytesPerSecond);
    /// Lets `bytes` more be read; then runs `reached`, once, and every read fails.
    void setReadLimit(std::uint64_t bytes, std::function<void()> reached);

    /// Writes all of it; false when the connection is gone.
    bool send(std::string_view bytes);
    /// Waits, one second at most, until the other side's system has taken everything that was written.
    void waitUntilSent() const;
    /// Ends it the hard way: the other side sees a reset.
    void reset();
    /// Nothing more is written or read; the connection is closed once it has been served.
    void finish() { m_finished = true; }
    bool isFinished() const { return m_finished; }

    void shutDown();

    bool is_readable() const override { return !m_finished; }
    bool is_writable() const override { return !m_finished; }
    ssize_t read(char *bytes, size_t size) override;
    ssize_t write(const char *bytes, size_t size) override;
    void get_remote_ip_and_port(std::string &ip, int &port) const override;
    void get_local_ip_and_port(std::string &ip, int &port) const override;
    socket_t socket() const override { return m_socket; }

    /// The number of the request being served, in the service's list.
    std::size_t requestIndex = 0;

private:
    const int m_socket;
    std::unique_ptr<SSL, void (*)(SSL *)> m_tls;
    std::stop_token m_stop;
    bool m_established = false;
    bool m_finished = false;
    std::uint64_t m_readBytesPerSecond = 0;
    std::uint64_t m_pacedBytes = 0;
    std::chrono::steady_clock::time_point m_pacedSince;
    std::uint64_t m_readLimit = std::numeric_limits<std::uint64_t>::max();
    std::function<void()> m_limitReached;
};

} // namespace support_service
