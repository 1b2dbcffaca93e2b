#include "Tls.h"

#include <chrono>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace support_service {

namespace {

void require(bool success, const char *what) {
    if (!success)
        throw std::runtime_error(std::string("TLS: ") + what + " failed");
}

std::shared_ptr<EVP_PKEY> newKey() {
    std::shared_ptr<EVP_PKEY> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    require(key != nullptr, "making a key");
    return key;
}

/// From and to, relative to today.
std::pair<long, long> validDays(CertificateKind kind) {
    if (kind == CertificateKind::expired)
        return {-60, -1};
    if (kind == CertificateKind::notYetValid)
        return {30, 60};
    return {-1, 30};
}

struct Subject {
    const char *name;
    long serial;
    std::pair<long, long> validDays;
    EVP_PKEY *key;
    std::vector<std::pair<int, const char *>> extensions;
};

/// Signed by the issuer; without one, by itself.
std::shared_ptr<X509> newCertificate(const Subject &subject, X509 *issuer, EVP_PKEY *issuerKey) {
    constexpr long daySeconds = 24L * 60 * 60;
    std::shared_ptr<X509> made(X509_new(), X509_free);
    X509 *certificate = made.get();
    require(certificate != nullptr, "making a certificate");
    if (!issuer)
        issuer = certificate;
    const auto *name = reinterpret_cast<const unsigned char *>(subject.name);
    const auto &[from, to] = subject.validDays;
    require(X509_set_version(certificate, X509_VERSION_3) == 1 &&
                ASN1_INTEGER_set(X509_get_serialNumber(certificate), subject.serial) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), from * daySeconds) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), to * daySeconds) != nullptr &&
                X509_set_pubkey(certificate, subject.key) == 1 &&
                X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, name, -1,
                                           -1, 0) == 1,
            "filling a certificate");
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    for (const auto &[identifier, value] : subject.extensions) {
        const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
            X509V3_EXT_conf_nid(nullptr, &context, identifier, value), X509_EXTENSION_free);
        require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "an extension");
    }
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1 &&
                X509_sign(certificate, issuerKey, EVP_sha256()) > 0,
            "signing");
    return made;
}

} // namespace

CertificateAuthority::CertificateAuthority(const char *name)
    : m_key(newKey())
    , m_certificate(newCertificate({name,
                                    m_lastSerial,
                                    {-100, 1000},
                                    m_key.get(),
                                    {{NID_basic_constraints, "critical,CA:TRUE"},
                                     {NID_key_usage, "critical,keyCertSign,cRLSign"},
                                     {NID_subject_key_identifier, "hash"}}},
                                   nullptr, m_key.get())) {}

std::shared_ptr<SSL_CTX> CertificateAuthority::serverContext(CertificateKind kind) {
    // The same names, from an authority that nobody knows.
    if (kind == CertificateKind::untrusted)
        return CertificateAuthority("Some other authority").serverContext(CertificateKind::good);

    const bool wrongHost = kind == CertificateKind::wrongHost;
    const auto key = newKey();
    const auto issued = newCertificate(
        {wrongHost ? "some-other-host.example" : "localhost",
         ++m_lastSerial,
         validDays(kind),
         key.get(),
         {{NID_basic_constraints, "critical,CA:FALSE"},
          {NID_key_usage, "critical,digitalSignature"},
          {NID_ext_key_usage, "serverAuth"},
          {NID_authority_key_identifier, "keyid"},
          {NID_subject_alt_name, wrongHost ? "DNS:some-other-host.example" : "DNS:localhost,IP:127.0.0.1"}}},
        m_certificate.get(), m_key.get());
    auto context = contextWithoutCertificate();
    require(SSL_CTX_use_certificate(context.get(), issued.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
            "using a certificate");
    return context;
}

std::string CertificateAuthority::pem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    require(memory && PEM_write_bio_X509(memory.get(), m_certificate.get()) == 1, "writing PEM");
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::shared_ptr<SSL_CTX> contextWithoutCertificate() {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    require(context && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1, "a context");
    // No session is resumed: each connection makes a whole handshake.
    SSL_CTX_set_num_tickets(context.get(), 0);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    return context;
}

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

void TlsConnection::waitForHangUp() const {
    // A socket that is closed with bytes unread sends a reset, and an answer that the client has not read yet
    // is lost on it.
    constexpr int limitMilliseconds = 1000;
    struct pollfd hangUp = {m_socket, POLLRDHUP, 0};
    ::poll(&hangUp, 1, limitMilliseconds);
}

void TlsConnection::waitUntilSent() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    int waiting = 0;
    while (ioctl(m_socket, SIOCOUTQ, &waiting) == 0 && waiting > 0 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace support_service
