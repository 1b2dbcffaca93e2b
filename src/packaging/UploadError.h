// What can go wrong with an upload, as the support desk knows it: a domain, a code and a sentence. Here is
// also the one place where a failure of libcurl becomes such an error.
//
// Values and pure functions; any thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <curl/curl.h>
#include <variant>

struct UploadError {
    QString domain;
    int code = 0;
    /// The sentence that came with the error; may be empty.
    QString userInfoDescription;

    /// That sentence, or one made from domain and code.
    QString localizedDescription() const;

    friend bool operator==(const UploadError &, const UploadError &) = default;
};

/// The bytes of the service's answer, or why there are none.
using UploadResult = std::variant<QByteArray, UploadError>;

inline const QString UploadErrorDomain = QStringLiteral("com.brennic.LumadocDiagnostics.upload");
inline const QString TransportErrorDomain = QStringLiteral("NSURLErrorDomain");
inline const QString ProxyErrorDomain = QStringLiteral("kCFErrorDomainCFNetwork");

/// Codes of `TransportErrorDomain`, the same on every system so that the support desk reads one table.
namespace TransportErrorCode {
inline constexpr int unknown = -1;
inline constexpr int cancelled = -999;
inline constexpr int timedOut = -1001;
inline constexpr int cannotFindHost = -1003;
inline constexpr int cannotConnectToHost = -1004;
inline constexpr int connectionLost = -1005;
inline constexpr int notConnectedToInternet = -1009;
inline constexpr int secureConnectionFailed = -1200;
inline constexpr int certificateExpired = -1201;
inline constexpr int certificateUntrusted = -1202;
inline constexpr int certificateNotYetValid = -1204;
} // namespace TransportErrorCode

/// How a transfer failed.
struct TransportFailure {
    CURLcode code = CURLE_OK;
    /// The result of the certificate check (OpenSSL's X509_V_ERR_ values).
    long verifyResult = 0;
    /// The system's error number of the last failed connection attempt; 0 when there is none.
    long systemError = 0;
    /// Whether any network interface was up.
    bool hasNetwork = true;
    /// Whether it failed on the way to a proxy, or to an agreement with it, and the status by which the proxy
    /// answered; 0 when it did not.
    bool isAtProxy = false;
    long proxyStatus = 0;
};

UploadError transportError(const TransportFailure &failure);

/// An error of the transport's domain with its sentence.
UploadError transportError(int code);

/// The sentences of failures that have no code of their own.
inline constexpr char tooManyRedirects[] = "The support server redirected the upload too many times.";
inline constexpr char redirectRefused[] = "The support server redirected the upload to another place.";
inline constexpr char headTooLarge[] = "The headers of the support server's answer are too large.";
UploadError otherError(const char *sentence);
