#include "packaging/UploadError.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

namespace {

TEST(UploadError, OfEveryFailureOfTheTransportHasItsCodeAndSentence) {
    const char *const timedOut = "The request timed out.";
    const char *const noHost = "The support server's name could not be found.";
    const char *const offline = "This computer is not connected to the internet.";
    const char *const lost = "The connection to the support server was lost.";
    const char *const insecure = "A secure connection to the support server could not be made.";
    const char *const untrusted = "The support server's certificate is not trusted.";
    const char *const expired = "The support server's certificate has expired.";
    const char *const early = "The support server's certificate is not valid yet.";
    const struct {
        TransportFailure failure;
        int code;
        const char *description;
    } cases[] = {
        {{.code = CURLE_OPERATION_TIMEDOUT}, -1001, timedOut},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ETIMEDOUT}, -1001, timedOut},
        {{.code = CURLE_COULDNT_RESOLVE_HOST}, -1003, noHost},
        {{.code = CURLE_COULDNT_RESOLVE_PROXY}, -1003, noHost},
        {{.code = CURLE_COULDNT_RESOLVE_HOST, .hasNetwork = false}, -1009, offline},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH}, -1009, offline},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = EHOSTUNREACH}, -1009, offline},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = EADDRNOTAVAIL}, -1009, offline},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ECONNREFUSED},
         -1004,
         "Could not connect to the support server."},
        {{.code = CURLE_SEND_ERROR}, -1005, lost},
        {{.code = CURLE_RECV_ERROR}, -1005, lost},
        {{.code = CURLE_GOT_NOTHING}, -1005, lost},
        {{.code = CURLE_PARTIAL_FILE}, -1005, lost},
        {{.code = CURLE_SSL_CONNECT_ERROR}, -1200, insecure},
        {{.code = CURLE_PEER_FAILED_VERIFICATION}, -1202, untrusted},
        {{.code = CURLE_PEER_FAILED_VERIFICATION, .verifyResult = X509_V_ERR_CERT_HAS_EXPIRED},
         -1201,
         expired},
        {{.code = CURLE_PEER_FAILED_VERIFICATION, .verifyResult = X509_V_ERR_CERT_NOT_YET_VALID},
         -1204,
         early},
        {{.code = CURLE_OUT_OF_MEMORY}, -1, "An unknown error occurred while sending the logs."},
    };
    for (const auto &[failure, code, description] : cases) {
        const QString sentence = QString::fromLatin1(description);
        EXPECT_EQ(transportError(failure), (UploadError{QStringLiteral("NSURLErrorDomain"), code, sentence}))
            << code << ' ' << transportError(failure).code;
        EXPECT_EQ(transportError(failure).localizedDescription(), sentence);
    }
    EXPECT_EQ(transportError(TransportErrorCode::cancelled).localizedDescription(),
              QStringLiteral("The upload was cancelled."));
}

} // namespace
