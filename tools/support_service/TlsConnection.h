// One accepted TLS connection at the level of bytes: what is read, written, broken off, and when.
//
// The socket stays its caller's, who closes it. One thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <openssl/types.h>
#include <string>
#include <string_view>

namespace support_service {

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

private:
    const int m_socket;
    std::unique_ptr<SSL, void (*)(SSL *)> m_tls;
    bool m_isOpen = false;
};

} // namespace support_service
