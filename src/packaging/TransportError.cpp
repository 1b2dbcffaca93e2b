#include "packaging/TransportError.h"

#include <cerrno>
#include <openssl/x509_vfy.h>

namespace {

QString sentence(int code) {
    using namespace TransportErrorCode;
    switch (code) {
    case cancelled:
        return QStringLiteral("The upload was cancelled.");
    case timedOut:
        return QStringLiteral("The request timed out.");
    case cannotFindHost:
        return QStringLiteral("The support server's name could not be found.");
    case cannotConnectToHost:
        return QStringLiteral("Could not connect to the support server.");
    case connectionLost:
        return QStringLiteral("The connection to the support server was lost.");
    case notConnectedToInternet:
        return QStringLiteral("This computer is not connected to the internet.");
    case secureConnectionFailed:
        return QStringLiteral("A secure connection to the support server could not be made.");
    case certificateExpired:
        return QStringLiteral("The support server's certificate has expired.");
    case certificateUntrusted:
        return QStringLiteral("The support server's certificate is not trusted.");
    case certificateNotYetValid:
        return QStringLiteral("The support server's certificate is not valid yet.");
    default:
        return QStringLiteral("An unknown error occurred while sending the logs.");
    }
}

int connectCode(long systemError) {
    switch (systemError) {
    case ENETUNREACH:
    case EHOSTUNREACH:
    case EADDRNOTAVAIL: // No interface has an address to send from.
    case ENETDOWN:
        return TransportErrorCode::notConnectedToInternet;
    case ETIMEDOUT:
        return TransportErrorCode::timedOut;
    default:
        return TransportErrorCode::cannotConnectToHost;
    }
}

int verificationCode(long verifyResult) {
    switch (verifyResult) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return TransportErrorCode::certificateExpired;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return TransportErrorCode::certificateNotYetValid;
    default:
        return TransportErrorCode::certificateUntrusted;
    }
}

int codeOf(const TransportFailure &failure) {
    using namespace TransportErrorCode;
    switch (failure.code) {
    case CURLE_ABORTED_BY_CALLBACK:
        return cancelled;
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
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_ENGINE_INITFAILED:
        return secureConnectionFailed;
    default:
        return unknown;
    }
}

} // namespace

UploadError transportError(const TransportFailure &failure) {
    return transportError(codeOf(failure));
}

UploadError transportError(int code) {
    return {TransportErrorDomain, code, sentence(code)};
}
