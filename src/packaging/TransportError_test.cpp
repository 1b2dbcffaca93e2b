#include "packaging/TransportError.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

namespace {

struct MappingCase {
    TransportFailure failure;
    int code;
    const char *description;
};

class MappingTest : public testing::TestWithParam<MappingCase> {};

TEST_P(MappingTest, EveryFailureOfTheTransportHasItsCodeAndSentence) {
    const UploadError error = transportError(GetParam().failure);
    EXPECT_EQ(error.domain, QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code, GetParam().code);
    EXPECT_EQ(error.localizedDescription(), QString::fromLatin1(GetParam().description));
    EXPECT_EQ(error.userInfoDescription, error.localizedDescription());
}

INSTANTIATE_TEST_SUITE_P(
    Codes, MappingTest,
    testing::Values(
        MappingCase{{.code = CURLE_ABORTED_BY_CALLBACK}, -999, "The upload was cancelled."},
        MappingCase{{.code = CURLE_OPERATION_TIMEDOUT}, -1001, "The request timed out."},
        MappingCase{
            {.code = CURLE_COULDNT_CONNECT, .systemError = ETIMEDOUT}, -1001, "The request timed out."},
        MappingCase{
            {.code = CURLE_COULDNT_RESOLVE_HOST}, -1003, "The support server's name could not be found."},
        MappingCase{
            {.code = CURLE_COULDNT_RESOLVE_PROXY}, -1003, "The support server's name could not be found."},
        MappingCase{{.code = CURLE_COULDNT_RESOLVE_HOST, .hasNetwork = false},
                    -1009,
                    "This computer is not connected to the internet."},
        MappingCase{{.code = CURLE_COULDNT_CONNECT, .systemError = ECONNREFUSED},
                    -1004,
                    "Could not connect to the support server."},
        MappingCase{{.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH},
                    -1009,
                    "This computer is not connected to the internet."},
        MappingCase{{.code = CURLE_COULDNT_CONNECT, .systemError = EHOSTUNREACH},
                    -1009,
                    "This computer is not connected to the internet."},
        MappingCase{{.code = CURLE_COULDNT_CONNECT, .systemError = EADDRNOTAVAIL},
                    -1009,
                    "This computer is not connected to the internet."},
        MappingCase{{.code = CURLE_SEND_ERROR}, -1005, "The connection to the support server was lost."},
        MappingCase{{.code = CURLE_RECV_ERROR}, -1005, "The connection to the support server was lost."},
        MappingCase{{.code = CURLE_GOT_NOTHING}, -1005, "The connection to the support server was lost."},
        MappingCase{{.code = CURLE_PARTIAL_FILE}, -1005, "The connection to the support server was lost."},
        MappingCase{{.code = CURLE_SSL_CONNECT_ERROR},
                    -1200,
                    "A secure connection to the support server could not be made."},
        MappingCase{{.code = CURLE_PEER_FAILED_VERIFICATION},
                    -1202,
                    "The support server's certificate is not trusted."},
        MappingCase{{.code = CURLE_PEER_FAILED_VERIFICATION, .verifyResult = X509_V_ERR_CERT_HAS_EXPIRED},
                    -1201,
                    "The support server's certificate has expired."},
        MappingCase{{.code = CURLE_PEER_FAILED_VERIFICATION, .verifyResult = X509_V_ERR_CERT_NOT_YET_VALID},
                    -1204,
                    "The support server's certificate is not valid yet."},
        MappingCase{{.code = CURLE_OUT_OF_MEMORY}, -1, "An unknown error occurred while sending the logs."}));

TEST(UploadErrorText, AnErrorWithoutASentenceIsDescribedByDomainAndCode) {
    EXPECT_EQ((UploadError{QStringLiteral("domain"), 7, {}}).localizedDescription(),
              QStringLiteral("The operation couldn’t be completed. (domain error 7.)"));
}

} // namespace
