// A certificate authority that creates itself and issues the service's certificates, good and bad.
//
// Nothing is kept on disk: the keys live in memory and go with their last holder. One thread at a time; the
// contexts that it gives may be used by any.
#pragma once

#include "Behaviour.h"

#include <memory>
#include <openssl/types.h>
#include <string>

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

} // namespace support_service
