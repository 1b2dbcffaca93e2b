// TLS below HTTP: an authority that issues the service's certificates, good and bad, and one accepted
// connection at the level of bytes: what is read, written, broken off, and when.
//
// Nothing is kept on disk: the keys live in memory and go with their last holder. One thread at a time for
// each object; the contexts that an authority gives may be used by any.
#pragma once

#include "Behaviour.h"

#include <cstddef>
#include <memory>
#include <openssl/types.h>
#include <string_view>

namespace support_service {

class CertificateAuthority {
public:
    /// Throws std::runtime_error when OpenSSL fails; so do the operations.
    explicit CertificateAuthority(const char *name = "Loopback support authority");

    /// A TLS server's side with a new certificate of this kind for localhost and 127.0.0.1.
    std::shared_ptr<SSL_CTX> serverContext(CertificateKind kind);
    /// This authority's own certificate as PEM text.
    std::string pem() const;

private:
    std::shared_ptr<EVP_PKEY> m_key;
    std::shared_ptr<X509> m_certificate;
    long m_lastSerial = 1;
};

/// A TLS server's side without a certificate, which answers every handshake with a fatal alert.
std::shared_ptr<SSL_CTX> contextWithoutCertificate();

/// The socket remains its caller's, who closes it.
class TlsConnection {
public:
    TlsConnection(int socket, SSL_CTX *context);

    /// False when the client refuses, or is refused.
    bool handshake();
    /// The bytes that arrive next, `most` at most; empty when no more will come.
    std::string read(std::size_t most);
    /// Writes everything; false when the connection is gone.
    bool send(std::string_view bytes);
    /// Announces the end of what is written, as TLS has it.
    void finish();
    /// Makes the client see a reset as soon as the socket is closed. What was sent is delivered first.
    void reset();
    /// Waits, for one second at most, until the client's system has taken everything that was sent.
    void waitUntilSent() const;
    /// Waits, for one second at most, until the client has ended the connection.
    void waitForHangUp() const;

private:
    const int m_socket;
    std::unique_ptr<SSL, void (*)(SSL *)> m_tls;
    bool m_isOpen = false;
};

} // namespace support_service
