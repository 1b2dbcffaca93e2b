// TLS below HTTP: the certificates that the service offers, good and bad, and one accepted connection.
//
// One thread at a time for each connection; the certificates may be used by any.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <openssl/types.h>
#include <optional>
#include <string>
#include <string_view>

namespace support_service {

/// What a client that connects is offered: a certificate, a fatal alert, or nothing ever.
enum class Handshake { good, wrongHost, expired, untrusted, refused, unanswered };

/// Long enough for every test.
inline constexpr std::chrono::hours forEver{24};

/// Each signs itself, so that trusting one is not trusting another. The key lives in memory alone.
class Certificates {
public:
    /// Throws std::runtime_error when OpenSSL fails.
    Certificates();

    /// The server's side of TLS; without a certificate for `Handshake::refused`.
    std::shared_ptr<SSL_CTX> serverContext(Handshake handshake) const;
    /// What a client is to trust, as PEM text: all but the untrusted one.
    std::string trusted() const;

private:
    std::shared_ptr<EVP_PKEY> m_key;
    std::map<Handshake, std::shared_ptr<X509>> m_certificates;
};

/// Waits so long; false as soon as the other side, or this process, has shut the socket down.
bool waitOn(int socket, std::chrono::milliseconds time);

/// The socket remains its caller's, who closes it.
class TlsConnection {
public:
    /// Shakes hands. When that fails nothing is read or sent.
    TlsConnection(int socket, SSL_CTX *context);
    /// Announces the end, unless the connection was broken off.
    ~TlsConnection();

    /// The bytes that arrive next, `most` at most; empty when no more will come.
    std::string read(std::size_t most);
    /// A line without its line break; none when the connection ends before it.
    std::optional<std::string> readLine();
    /// Writes everything; false when the connection is gone.
    bool send(std::string_view bytes);
    bool wait(std::chrono::milliseconds time) const { return waitOn(m_socket, time); }
    /// The client sees a reset once the socket is closed.
    void breakOff();

private:
    const int m_socket;
    std::unique_ptr<SSL, void (*)(SSL *)> m_tls;
    bool m_isOpen = false;
};

} // namespace support_service
