#include "packaging/UploadError.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

namespace {

TEST(UploadError, OfEveryFailureOfTheTransportHasItsCodeAndSentence) {
    constexpr auto verification = CURLE_PEER_FAILED_VERIFICATION;
    const std::pair<TransportFailure, int> cases[] = {
        {{.code = CURLE_OPERATION_TIMEDOUT}, -1001},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ETIMEDOUT}, -1001},
        {{.code = CURLE_COULDNT_RESOLVE_HOST}, -1003},
        {{.code = CURLE_COULDNT_RESOLVE_PROXY}, -1003},
        {{.code = CURLE_COULDNT_RESOLVE_HOST, .hasNetwork = false}, -1009},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH}, -1009},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = EHOSTUNREACH}, -1009},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = EADDRNOTAVAIL}, -1009},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ENETDOWN}, -1009},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ECONNREFUSED}, -1004},
        {{.code = CURLE_SEND_ERROR}, -1005},
        {{.code = CURLE_RECV_ERROR}, -1005},
        {{.code = CURLE_GOT_NOTHING}, -1005},
        {{.code = CURLE_PARTIAL_FILE}, -1005},
        {{.code = CURLE_SSL_CONNECT_ERROR}, -1200},
        {{.code = verification}, -1202},
        {{.code = CURLE_SSL_CACERT_BADFILE}, -1202},
        {{.code = verification, .verifyResult = X509_V_ERR_CERT_HAS_EXPIRED}, -1201},
        {{.code = verification, .verifyResult = X509_V_ERR_CERT_NOT_YET_VALID}, -1204},
        {{.code = CURLE_OUT_OF_MEMORY}, -1},
    };
    for (const auto &[failure, code] : cases)
        EXPECT_EQ(transportError(failure), transportError(code))
            << code << ' ' << transportError(failure).code;
    const std::pair<int, const char *> sentences[] = {
        {-999, "The upload was cancelled."},
        {-1001, "The request timed out."},
        {-1003, "The support server's name could not be found."},
        {-1004, "Could not connect to the support server."},
        {-1005, "The connection to the support server was lost."},
        {-1009, "This computer is not connected to the internet."},
        {-1200, "A secure connection to the support server could not be made."},
        {-1201, "The support server's certificate has expired."},
        {-1202, "The support server's certificate is not trusted."},
        {-1204, "The support server's certificate is not valid yet."},
        {-1, "An unknown error occurred while sending the logs."},
    };
    for (const auto &[code, text] : sentences) {
        const auto sentence = QString::fromLatin1(text);
        EXPECT_EQ(transportError(code), (UploadError{QStringLiteral("NSURLErrorDomain"), code, sentence}));
        EXPECT_EQ(transportError(code).localizedDescription(), sentence);
    }
}

TEST(UploadError, SaysThatItWasTheProxy) {
    const auto refusal = QStringLiteral("The proxy server refused to connect to the support server.");
    const UploadError refused{QStringLiteral("kCFErrorDomainCFNetwork"), 310, refusal};
    EXPECT_EQ(transportError({.code = CURLE_RECV_ERROR, .proxyStatus = 407}), refused);
    EXPECT_EQ(transportError({.code = CURLE_PROXY, .isAtProxy = true}), refused) << "one that speaks SOCKS";
    EXPECT_EQ(transportError({.code = CURLE_RECV_ERROR, .proxyStatus = 200}), transportError(-1005));
    const UploadError unknownHost = transportError({.code = CURLE_COULDNT_RESOLVE_PROXY, .isAtProxy = true});
    EXPECT_EQ(unknownHost.code, -1003);
    EXPECT_EQ(unknownHost.userInfoDescription, QStringLiteral("The proxy server's name could not be found."));
}

} // namespace
