#include "platform/UploadTls.h"

#include <cstdlib>
#include <openssl/err.h>
#include <openssl/ssl.h>

namespace platform {

namespace {

// As OpenSSL's own programs take them.
CURLcode onTlsContext(CURL *, void *context, void *) {
    const auto chosen = [](const char *variable, const char *otherwise) {
        const char *const value = std::getenv(variable);
        return value == nullptr || *value == '\0' ? otherwise : value;
    };
    auto *const trusting = static_cast<SSL_CTX *>(context);
    SSL_CTX_load_verify_file(trusting,
                             chosen(X509_get_default_cert_file_env(), X509_get_default_cert_file()));
    SSL_CTX_load_verify_dir(trusting, chosen(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
    ERR_clear_error();
    return CURLE_OK;
}

long onEncrypted(BIO *stream, int operation, const char *, std::size_t, int, long, int result,
                 std::size_t *) {
    const auto &events = *reinterpret_cast<const TlsEvents *>(BIO_get_callback_arg(stream));
    const bool isDone = (operation & BIO_CB_RETURN) != 0;
    const bool isWrite = (operation & ~BIO_CB_RETURN) == BIO_CB_WRITE;
    const bool isRead = (operation & ~BIO_CB_RETURN) == BIO_CB_READ;
    if (isDone && isWrite && result <= 0 && !BIO_should_retry(stream) && events.triesAgain())
        BIO_set_retry_write(stream);
    if (isDone && isRead && result > 0)
        events.arrived();
    return result;
}

} // namespace

// Added to each connection's own TLS context.
void trustCertificates(CURL *transfer) {
    for (const CURLoption trust :
         {CURLOPT_CAINFO, CURLOPT_CAPATH, CURLOPT_PROXY_CAINFO, CURLOPT_PROXY_CAPATH})
        curl_easy_setopt(transfer, trust, static_cast<const char *>(nullptr));
    curl_easy_setopt(transfer, CURLOPT_SSL_CTX_FUNCTION, &onTlsContext);
}

void watchConnection(CURL *transfer, const TlsEvents &events) {
    const curl_tlssessioninfo *session = nullptr;
    curl_easy_getinfo(transfer, CURLINFO_TLS_SSL_PTR, &session);
    if (session == nullptr || session->internals == nullptr)
        return;
    BIO *const stream = SSL_get_wbio(static_cast<SSL *>(session->internals));
    BIO_set_callback_ex(stream, &onEncrypted);
    BIO_set_callback_arg(stream, reinterpret_cast<char *>(const_cast<TlsEvents *>(&events)));
}

} // namespace platform
