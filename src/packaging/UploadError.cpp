#include "packaging/UploadError.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace {

using namespace TransportErrorCode;

struct Sentence {
    int code;
    const char *text;
};

constexpr Sentence sentences[] = {
    {cancelled, "The upload was cancelled."},
    {timedOut, "The request timed out."},
    {cannotFindHost, "The support server's name could not be found."},
    {cannotConnectToHost, "Could not connect to the support server."},
    {connectionLost, "The connection to the support server was lost."},
    {notConnectedToInternet, "This computer is not connected to the internet."},
    {secureConnectionFailed, "A secure connection to the support server could not be made."},
    {certificateExpired, "The support server's certificate has expired."},
    {certificateUntrusted, "The support server's certificate is not trusted."},
    {certificateNotYetValid, "The support server's certificate is not valid yet."},
    {unknown, "An unknown error occurred while sending the logs."},
};

int connectCode(long systemError) {
    switch (systemError) {
    case ENETUNREACH:
    case EHOSTUNREACH:
    case EADDRNOTAVAIL: // No interface has an address to send from.
    case ENETDOWN:
        return notConnectedToInternet;
    case ETIMEDOUT:
        return timedOut;
    default:
        return cannotConnectToHost;
    }
}

// The numbers are OpenSSL's, which LibreSSL shares: X509_V_ERR_CERT_NOT_YET_VALID and
// X509_V_ERR_CERT_HAS_EXPIRED in https://docs.rs/openssl-sys/latest/openssl_sys/
int verificationCode(long verifyResult) {
    constexpr long notYetValid = 9;
    constexpr long hasExpired = 10;
    switch (verifyResult) {
    case hasExpired:
        return certificateExpired;
    case notYetValid:
        return certificateNotYetValid;
    default:
        return certificateUntrusted;
    }
}

int codeOf(const TransportFailure &failure) {
    switch (failure.code) {
    case CURLE_OPERATION_TIMEDOUT:
        return timedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return failure.hasNetwork ? cannotFindHost : notConnectedToInternet;
    case CURLE_COULDNT_CONNECT:
        return connectCode(failure.systemError);
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
        return connectionLost;
    case CURLE_PEER_FAILED_VERIFICATION:
        return verificationCode(failure.verifyResult);
    case CURLE_SSL_CACERT_BADFILE: // Without certificates to trust there is nobody to trust.
        return certificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
        return secureConnectionFailed;
    default:
        return unknown;
    }
}

} // namespace

QString UploadError::localizedDescription() const {
    if (!userInfoDescription.isEmpty())
        return userInfoDescription;
    return QStringLiteral("The operation couldn’t be completed. (%1 error %2.)")
        .arg(domain, QString::number(code));
}

UploadError transportError(const TransportFailure &failure) {
    constexpr int proxyRefused = 310;
    constexpr int consents = 2;
    if (failure.code == CURLE_PROXY || (failure.proxyStatus != 0 && failure.proxyStatus / 100 != consents))
        return {ProxyErrorDomain, proxyRefused,
                QStringLiteral("The proxy server refused to connect to the support server.")};
    UploadError error = transportError(codeOf(failure));
    if (failure.isAtProxy)
        error.userInfoDescription.replace(QStringLiteral("support server"), QStringLiteral("proxy server"));
    return error;
}

UploadError otherError(const char *sentence) {
    return {TransportErrorDomain, unknown, QString::fromLatin1(sentence)};
}

UploadError transportError(int code) {
    const auto known = std::ranges::find(sentences, code, &Sentence::code);
    const Sentence &sentence = known == std::end(sentences) ? *std::rbegin(sentences) : *known;
    return {TransportErrorDomain, code, QString::fromLatin1(sentence.text)};
}
