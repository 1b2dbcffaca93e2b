// A certificate authority of one run's own: it makes itself on construction and issues server certificates.
//
// Nothing is kept on disk: the keys live in memory and go with their last holder. Not thread-safe; what it
// issues may be used by any thread.
#pragma once

#include "Behaviour.h"

#include <memory>
#include <openssl/types.h>
#include <string>

namespace support_service {

struct Certificate {
    std::shared_ptr<X509> certificate;
    std::shared_ptr<EVP_PKEY> key;
};

class CertificateAuthority {
public:
    /// Throws std::runtime_error when OpenSSL fails.
    explicit CertificateAuthority(const std::string &commonName);

    /// A server certificate for localhost and 127.0.0.1, or one that is wrong in the way asked for.
    /// `untrusted` is no matter of the certificate itself: issue a good one from another authority.
    Certificate issue(CertificateKind kind);

    /// This authority's own certificate as PEM text.
    std::string pem() const;

private:
    Certificate m_own;
    long m_lastSerial = 1;
};

} // namespace support_service
