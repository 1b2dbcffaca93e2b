#include "CertificateAuthority.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
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

void addExtension(X509 *certificate, X509 *issuer, int nid, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value), X509_EXTENSION_free);
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "an extension");
}

void setCommonName(X509 *certificate, const std::string &name) {
    const auto *text = reinterpret_cast<const unsigned char *>(name.c_str());
    require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, text, -1, -1,
                                       0) == 1,
            "setting the name");
}

/// A certificate with a key of its own, valid between two moments relative to now; unsigned as yet.
Certificate newCertificate(const std::string &commonName, long serial, long fromSeconds, long toSeconds) {
    Certificate made{std::shared_ptr<X509>(X509_new(), X509_free), newKey()};
    X509 *certificate = made.certificate.get();
    require(certificate != nullptr, "making a certificate");
    require(X509_set_version(certificate, X509_VERSION_3) == 1 &&
                ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), fromSeconds) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), toSeconds) != nullptr &&
                X509_set_pubkey(certificate, made.key.get()) == 1,
            "filling a certificate");
    setCommonName(certificate, commonName);
    return made;
}

void sign(X509 *certificate, EVP_PKEY *key) {
    require(X509_sign(certificate, key, EVP_sha256()) > 0, "signing");
}

} // namespace

CertificateAuthority::CertificateAuthority(const std::string &commonName)
    : m_own(newCertificate(commonName, 1, -100 * daySeconds, 1000 * daySeconds)) {
    X509 *own = m_own.certificate.get();
    require(X509_set_issuer_name(own, X509_get_subject_name(own)) == 1, "setting the issuer");
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(own, own, NID_subject_key_identifier, "hash");
    sign(own, m_own.key.get());
}

Certificate CertificateAuthority::issue(CertificateKind kind) {
    long from = -daySeconds;
    long to = 30 * daySeconds;
    if (kind == CertificateKind::expired) {
        from = -60 * daySeconds;
        to = -daySeconds;
    } else if (kind == CertificateKind::notYetValid) {
        from = 30 * daySeconds;
        to = 60 * daySeconds;
    }
    const bool wrongHost = kind == CertificateKind::wrongHost;

    Certificate issued =
        newCertificate(wrongHost ? "some-other-host.example" : "localhost", ++m_lastSerial, from, to);
    X509 *certificate = issued.certificate.get();
    X509 *own = m_own.certificate.get();
    require(X509_set_issuer_name(certificate, X509_get_subject_name(own)) == 1, "setting the issuer");
    addExtension(certificate, own, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate, own, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate, own, NID_ext_key_usage, "serverAuth");
    addExtension(certificate, own, NID_authority_key_identifier, "keyid");
    addExtension(certificate, own, NID_subject_alt_name,
                 wrongHost ? "DNS:some-other-host.example" : "DNS:localhost,IP:127.0.0.1");
    sign(certificate, m_own.key.get());
    return issued;
}

std::string CertificateAuthority::pem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    require(memory != nullptr && PEM_write_bio_X509(memory.get(), m_own.certificate.get()) == 1,
            "writing PEM");
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

} // namespace support_service
