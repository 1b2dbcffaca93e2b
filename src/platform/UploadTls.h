// The upload's TLS, as far as the systems' copies of libcurl differ: whom it trusts, and what can be seen of
// a connection below it. Only the upload's module has this.
//
// The thread of the transfer.
#pragma once

#include <curl/curl.h>
#include <functional>

namespace platform {

/// Lets the transfer trust, of services and of proxies, the system's certificates, or those of the file and
/// the folders that SSL_CERT_FILE and SSL_CERT_DIR name: what cannot be read adds nothing.
void trustCertificates(CURL *transfer);

/// What happens to the bytes of a connection.
struct TlsEvents {
    /// They cannot be sent any more. True to try again a little later all the same.
    std::function<bool()> triesAgain;
    /// Some have arrived, perhaps not enough for libcurl to pass anything on.
    std::function<void()> arrived;
};

/// Watches the connection that the transfer has just made, until it ends, where libcurl gives a way to.
/// `events` must last as long.
void watchConnection(CURL *transfer, const TlsEvents &events);

} // namespace platform
