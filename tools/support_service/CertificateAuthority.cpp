#include "CertificateAuthority.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace support_service {

namespace {

constexpr long daySeconds = 24L * 60 * 60;

void require(bool success, const char *what) {
    if (!success)
        throw std::runtime_error(std::string("Certificate: ") + what + " failed");
}

std::shared_ptr<EVP_PKEY> newKey() {
    std::shared_ptr<EVP_PKEY> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    require(key != nullptr, "making a key");
    return key;
}

struct Validity {
    long fromSeconds;
    long toSeconds;
};

Validity validityOf(CertificateKind kind) {
    if (kind == CertificateKind::expired)
        return {-60 * daySeconds, -daySeconds};
    if (kind == CertificateKind::notYetValid)
        return {30 * daySeconds, 60 * daySeconds};
    return {-daySeconds, 30 * daySeconds};
}

/// A certificate with this key, still unsigned; the times are relative to now.
std::shared_ptr<X509> newCertificate(const char *name, long serial, Validity validity, EVP_PKEY *key) {
    std::shared_ptr<X509> made(X509_new(), X509_free);
    X509 *certificate = made.get();
    require(certificate != nullptr, "making a certificate");
    const auto *text = reinterpret_cast<const unsigned char *>(name);
    require(X509_set_version(certificate, X509_VERSION_3) == 1 &&
                ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), validity.fromSeconds) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), validity.toSeconds) != nullptr &&
                X509_set_pubkey(certificate, key) == 1 &&
                X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, text, -1,
                                           -1, 0) == 1,
            "filling a certificate");
    return made;
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value), X509_EXTENSION_free);
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "an extension");
}

void sign(X509 *certificate, X509 *issuer, EVP_PKEY *key) {
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1 &&
                X509_sign(certificate, key, EVP_sha256()) > 0,
            "signing");
}

} // namespace

CertificateAuthority::CertificateAuthority(const char *name)
    : m_key(newKey())
    , m_certificate(newCertificate(name, m_lastSerial, {-100 * daySeconds, 1000 * daySeconds}, m_key.get())) {
    X509 *own = m_certificate.get();
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(own, own, NID_subject_key_identifier, "hash");
    sign(own, own, m_key.get());
}

std::shared_ptr<SSL_CTX> CertificateAuthority::serverContext(CertificateKind kind) {
    // The same names, from an authority that nobody knows.
    if (kind == CertificateKind::untrusted)
        return CertificateAuthority("Some other authority").serverContext(CertificateKind::good);

    const bool wrongHost = kind == CertificateKind::wrongHost;
    const auto key = newKey();
    const auto issued = newCertificate(wrongHost ? "some-other-host.example" : "localhost", ++m_lastSerial,
                                       validityOf(kind), key.get());
    X509 *own = m_certificate.get();
    addExtension(issued.get(), own, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(issued.get(), own, NID_key_usage, "critical,digitalSignature");
    addExtension(issued.get(), own, NID_ext_key_usage, "serverAuth");
    addExtension(issued.get(), own, NID_authority_key_identifier, "keyid");
    addExtension(issued.get(), own, NID_subject_alt_name,
                 wrongHost ? "DNS:some-other-host.example" : "DNS:localhost,IP:127.0.0.1");
    sign(issued.get(), own, m_key.get());

    auto context = contextWithoutCertificate();
    require(SSL_CTX_use_certificate(context.get(), issued.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
            "using it");
    return context;
}

std::string CertificateAuthority::pem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    require(memory != nullptr && PEM_write_bio_X509(memory.get(), m_certificate.get()) == 1, "writing PEM");
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::shared_ptr<SSL_CTX> contextWithoutCertificate() {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    require(context != nullptr && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1, "TLS");
    // No session is resumed: each connection makes a whole handshake.
    SSL_CTX_set_num_tickets(context.get(), 0);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    return context;
}

} // namespace support_service
