#include "Tls.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>

namespace support_service {

namespace {

/// Valid from and to these days, counted from now.
std::shared_ptr<X509> selfSigned(EVP_PKEY *key, const char *names, int from, int to) {
    constexpr long daySeconds = 24L * 60 * 60;
    std::shared_ptr<X509> certificate(X509_new(), X509_free);
    X509 *const made = certificate.get();
    X509_NAME *const name = X509_get_subject_name(made);
    X509_set_version(made, X509_VERSION_3);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char *>("Loopback"),
                               -1, -1, 0);
    X509_set_issuer_name(made, name);
    X509_gmtime_adj(X509_getm_notBefore(made), from * daySeconds);
    X509_gmtime_adj(X509_getm_notAfter(made), to * daySeconds);
    X509_set_pubkey(made, key);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> hosts(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names), X509_EXTENSION_free);
    if (X509_add_ext(made, hosts.get(), -1) != 1 || X509_sign(made, key, EVP_sha256()) <= 0)
        throw std::runtime_error("Cannot make a certificate");
    return certificate;
}

} // namespace

Certificates::Certificates()
    : m_key(EVP_EC_gen("P-256"), EVP_PKEY_free) {
    const char *const local = "DNS:localhost,IP:127.0.0.1,IP:192.0.2.2";
    m_certificates = {{Handshake::good, selfSigned(m_key.get(), local, -1, 30)},
                      {Handshake::wrongHost, selfSigned(m_key.get(), "DNS:other-host.example", -1, 30)},
                      {Handshake::expired, selfSigned(m_key.get(), local, -60, -1)},
                      {Handshake::untrusted, selfSigned(m_key.get(), local, -2, 30)}};
}

// Takes HTTP/2 from a client that offers it, as most servers do. The service speaks HTTP/1.1 all the same, so
// a client that offered more fails.
int selectProtocol(SSL *, const unsigned char **selected, unsigned char *size, const unsigned char *offered,
                   unsigned offeredSize, void *) {
    static constexpr unsigned char known[] = "\x02h2\x08http/1.1";
    return SSL_select_next_proto(const_cast<unsigned char **>(selected), size, known, sizeof known - 1,
                                 offered, offeredSize) == OPENSSL_NPN_NEGOTIATED
               ? SSL_TLSEXT_ERR_OK
               : SSL_TLSEXT_ERR_NOACK;
}

std::shared_ptr<SSL_CTX> Certificates::serverContext(Handshake handshake) const {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    SSL_CTX_set_alpn_select_cb(context.get(), selectProtocol, nullptr);
    // No session is resumed: each connection makes a whole handshake.
    SSL_CTX_set_num_tickets(context.get(), 0);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    if (const auto certificate = m_certificates.find(handshake); certificate != m_certificates.end()) {
        SSL_CTX_use_certificate(context.get(), certificate->second.get());
        SSL_CTX_use_PrivateKey(context.get(), m_key.get());
    }
    return context;
}

std::string Certificates::trusted() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    for (const auto &[handshake, certificate] : m_certificates) {
        if (handshake != Handshake::untrusted)
            PEM_write_bio_X509(memory.get(), certificate.get());
    }
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

bool waitOn(int socket, std::chrono::milliseconds time) {
    struct pollfd end = {socket, POLLRDHUP, 0};
    return ::poll(&end, 1, static_cast<int>(time.count())) == 0;
}

TlsConnection::TlsConnection(int socket, SSL_CTX *context)
    : m_socket(socket)
    , m_tls(SSL_new(context), SSL_free) {
    const int yes = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    SSL_set_fd(m_tls.get(), m_socket);
    ERR_clear_error();
    m_isOpen = SSL_accept(m_tls.get()) > 0;
}

TlsConnection::~TlsConnection() {
    if (m_isOpen)
        SSL_shutdown(m_tls.get());
}

void TlsConnection::breakOff() {
    const linger none{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    m_isOpen = false;
}

std::string TlsConnection::read(std::size_t most) {
    std::string bytes(most, '\0');
    std::size_t count = 0;
    ERR_clear_error();
    // A session that an error has ended must not be shut down.
    if (m_isOpen && SSL_read_ex(m_tls.get(), bytes.data(), most, &count) <= 0)
        m_isOpen = SSL_get_error(m_tls.get(), 0) == SSL_ERROR_ZERO_RETURN;
    bytes.resize(count);
    return bytes;
}

std::optional<std::string> TlsConnection::readLine() {
    std::string line;
    while (!line.ends_with("\r\n")) {
        // Byte by byte, so that nothing of what follows is taken.
        const std::string byte = read(1);
        if (byte.empty())
            return std::nullopt;
        line += byte;
    }
    line.resize(line.size() - 2);
    return line;
}

bool TlsConnection::send(std::string_view bytes) {
    std::size_t count = 0;
    ERR_clear_error();
    if (m_isOpen && !bytes.empty())
        m_isOpen = SSL_write_ex(m_tls.get(), bytes.data(), bytes.size(), &count) > 0;
    return m_isOpen;
}

} // namespace support_service
