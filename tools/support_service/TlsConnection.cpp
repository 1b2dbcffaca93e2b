#include "TlsConnection.h"

#include <chrono>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>

namespace support_service {

TlsConnection::TlsConnection(int socket, SSL_CTX *context)
    : m_socket(socket)
    , m_tls(SSL_new(context), SSL_free) {
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    SSL_set_fd(m_tls.get(), m_socket);
}

bool TlsConnection::handshake() {
    ERR_clear_error();
    m_isOpen = SSL_accept(m_tls.get()) > 0;
    return m_isOpen;
}

std::string TlsConnection::read(std::size_t most) {
    std::string bytes(most, '\0');
    std::size_t count = 0;
    ERR_clear_error();
    const int result = m_isOpen ? SSL_read_ex(m_tls.get(), bytes.data(), most, &count) : 0;
    if (result <= 0)
        m_isOpen = m_isOpen && SSL_get_error(m_tls.get(), result) == SSL_ERROR_ZERO_RETURN;
    bytes.resize(count);
    return bytes;
}

bool TlsConnection::send(std::string_view bytes) {
    std::size_t count = 0;
    ERR_clear_error();
    if (m_isOpen && !bytes.empty())
        m_isOpen = SSL_write_ex(m_tls.get(), bytes.data(), bytes.size(), &count) > 0;
    return m_isOpen;
}

void TlsConnection::finish() {
    // A session that an error has ended must not be shut down.
    if (m_isOpen)
        SSL_shutdown(m_tls.get());
    m_isOpen = false;
}

void TlsConnection::reset() {
    waitUntilSent();
    // Without lingering, closing the socket discards what is in it and sends a reset.
    const linger none{.l_onoff = 1, .l_linger = 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    m_isOpen = false;
}

void TlsConnection::waitUntilSent() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    int waiting = 0;
    while (ioctl(m_socket, SIOCOUTQ, &waiting) == 0 && waiting > 0 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace support_service
