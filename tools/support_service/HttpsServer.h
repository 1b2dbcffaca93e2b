// An HTTPS server on 127.0.0.1: the library's HTTP over this project's own TLS connections.
//
// The library's own TLS server is not used because it keeps the connection from its handlers, and takes
// multipart bodies apart: a support service must see the very bytes, and must be able to break off anywhere.
//
// Owns its threads and connections. `start` and `stop` belong to one thread; the rest may be called by any.
#pragma once

#include "CertificateAuthority.h"
#include "Connection.h"

#include <atomic>
#include <functional>
#include <map>
#include <set>
#include <thread>

namespace support_service {

class HttpsServer final : public httplib::Server {
public:
    /// Called when a request's headers are in, before its body is read and before its handler runs.
    using OnHeaders = std::function<void(httplib::Request &, Connection &)>;

    explicit HttpsServer(OnHeaders onHeaders);
    /// Stops.
    ~HttpsServer() override;

    void setCertificate(CertificateKind kind, const Certificate &certificate);

    /// Listens on the port, or on a free one for 0. Throws std::runtime_error when it cannot.
    void start(int port);
    /// Ends every connection, whatever it is doing, and every thread.
    void stop();
    int port() const { return m_port; }

    /// What new connections meet.
    std::atomic<CertificateKind> certificateKind = CertificateKind::good;
    std::atomic<Handshake> handshake = Handshake::complete;

    /// Connections accepted so far, and those of them whose handshake was completed.
    std::size_t acceptedConnections() const { return m_accepted; }
    std::size_t establishedConnections() const { return m_established; }
    std::stop_token stopToken() const { return m_stop.get_token(); }

private:
    bool process_and_close_socket(socket_t socket) override;
    bool add(Connection &connection);
    void remove(Connection &connection);

    OnHeaders m_onHeaders;
    std::map<CertificateKind, std::shared_ptr<SSL_CTX>> m_contexts;
    std::shared_ptr<SSL_CTX> m_contextWithoutCertificate;
    int m_port = 0;
    std::thread m_listener;
    std::stop_source m_stop;
    std::atomic<std::size_t> m_accepted = 0;
    std::atomic<std::size_t> m_established = 0;
    std::mutex m_mutex;
    std::set<Connection *> m_connections;
};

} // namespace support_service
