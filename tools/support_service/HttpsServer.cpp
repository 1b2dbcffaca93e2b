#include "HttpsServer.h"

#include <openssl/ssl.h>
#include <stdexcept>

namespace support_service {

namespace {

/// Connections that are served at a time; further ones wait for one of these to end.
constexpr std::size_t threadCount = 24;
/// Kept small, so that a service that stops reading is soon felt by the sender.
constexpr int receiveBufferBytes = 128 * 1024;

constexpr const char *host = "127.0.0.1";

/// A request in memory, whose answer nobody reads.
class MemoryRequest final : public httplib::Stream {
public:
    explicit MemoryRequest(std::string_view text)
        : m_rest(text) {}
    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char *bytes, size_t size) override {
        const std::size_t taken = m_rest.copy(bytes, size);
        m_rest.remove_prefix(taken);
        return static_cast<ssize_t>(taken);
    }
    ssize_t write(const char *, size_t size) override { return static_cast<ssize_t>(size); }
    void get_remote_ip_and_port(std::string &, int &) const override {}
    void get_local_ip_and_port(std::string &, int &) const override {}
    socket_t socket() const override { return INVALID_SOCKET; }

private:
    std::string_view m_rest;
};

std::shared_ptr<SSL_CTX> newContext() {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1)
        throw std::runtime_error("TLS is not available");
    // No session is resumed: every connection stands alone.
    SSL_CTX_set_num_tickets(context.get(), 0);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    return context;
}

} // namespace

HttpsServer::HttpsServer(OnHeaders onHeaders)
    : m_onHeaders(std::move(onHeaders))
    , m_contextWithoutCertificate(newContext()) {
    // The library fills static tables at its first request: safely, but in code that the thread sanitizer
    // does not see into and so reports. Here it happens before there are threads.
    MemoryRequest first("POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\n.");
    bool closed = false;
    process_request(first, true, closed, nullptr);

    new_task_queue = [] { return new httplib::ThreadPool(threadCount); };
    // The library would share the port with any other server of this user.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &receiveBufferBytes, sizeof receiveBufferBytes);
    });
}

HttpsServer::~HttpsServer() {
    stop();
}

void HttpsServer::setCertificate(CertificateKind kind, const Certificate &certificate) {
    auto context = newContext();
    if (SSL_CTX_use_certificate(context.get(), certificate.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), certificate.key.get()) != 1)
        throw std::runtime_error("The certificate cannot be used");
    m_contexts[kind] = std::move(context);
}

void HttpsServer::start(int port) {
    if (port == 0)
        m_port = bind_to_any_port(host);
    else
        m_port = bind_to_port(host, port) ? port : -1;
    if (m_port <= 0)
        throw std::runtime_error("Cannot listen on port " + std::to_string(port));

    m_listener = std::thread([this] { listen_after_bind(); });
    while (!is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void HttpsServer::stop() {
    if (!m_listener.joinable())
        return;
    m_stop.request_stop();
    {
        const std::lock_guard lock(m_mutex);
        for (Connection *connection : m_connections)
            connection->shutDown();
    }
    httplib::Server::stop();
    m_listener.join();
}

bool HttpsServer::add(Connection &connection) {
    const std::lock_guard lock(m_mutex);
    if (m_stop.stop_requested())
        return false;
    m_connections.insert(&connection);
    return true;
}

void HttpsServer::remove(Connection &connection) {
    const std::lock_guard lock(m_mutex);
    m_connections.erase(&connection);
}

bool HttpsServer::process_and_close_socket(socket_t socket) {
    ++m_accepted;
    const Handshake wanted = handshake;
    SSL_CTX *context = wanted == Handshake::refuse ? m_contextWithoutCertificate.get()
                                                   : m_contexts.at(certificateKind).get();
    Connection connection(socket, context, m_stop.get_token());
    if (!add(connection))
        return false;

    bool served = false;
    if (wanted == Handshake::hang) {
        sleepUntilStopped(m_stop.get_token());
    } else if (connection.handshake()) {
        ++m_established;
        served = true;
        bool closed = false;
        while (served && !closed && !connection.isFinished()) {
            served = process_request(connection, false, closed, [&](httplib::Request &request) {
                request.ssl = connection.tls();
                m_onHeaders(request, connection);
            });
        }
        connection.sayGoodbye();
    }
    remove(connection);
    return served;
}

} // namespace support_service
