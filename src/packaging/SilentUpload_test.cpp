#include "packaging/SilentUpload.h"

#include "packaging/TransportError.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

// Whole silent uploads are tested with the shipped bundle, whose Info.plist names the service.

namespace {

using test_support::logLines;
using UploadAPI::logUploadError;

class SilentUploadTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    std::filesystem::path log = test_support::startLog();
};

TEST_F(SilentUploadTest, ACancelledUploadIsToldAsSuch) {
    logUploadError(transportError(TransportErrorCode::cancelled));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("ERROR: Upload error code: -999"),
                                          QStringLiteral("ERROR: Upload error domain: NSURLErrorDomain"),
                                          QStringLiteral("ERROR: Upload task was canceled")}));
}

TEST_F(SilentUploadTest, AMissingNetworkIsToldAsSuch) {
    logUploadError(transportError(TransportErrorCode::notConnectedToInternet));
    EXPECT_EQ(logLines(log).last(), QStringLiteral("ERROR: No internet connection"));
}

TEST_F(SilentUploadTest, AnyOtherErrorIsToldWithItsTexts) {
    logUploadError({QStringLiteral("domain"), 1, QStringLiteral("Internal Server Error.")});
    EXPECT_EQ(logLines(log),
              (QStringList{QStringLiteral("ERROR: Upload error code: 1"),
                           QStringLiteral("ERROR: Upload error domain: domain"),
                           QStringLiteral("ERROR: Other network error: Internal Server Error."),
                           QStringLiteral("ERROR: userInfo: Internal Server Error.")}));
}

TEST_F(SilentUploadTest, AnErrorWithoutATextHasNoUserInfo) {
    logUploadError({QStringLiteral("domain"), 7, {}});
    EXPECT_EQ(logLines(log).mid(2),
              (QStringList{
                  QStringLiteral("ERROR: Other network error: The operation couldn’t be completed. (domain "
                                 "error 7.)"),
                  QStringLiteral("ERROR: userInfo: no userInfo")}));
}

TEST_F(SilentUploadTest, WithoutAnArchiveNothingHappens) {
    UtilityFunctions::SilentUpload([](const UploadResult &) { FAIL() << "no upload, no call"; });
    EXPECT_FALSE(std::filesystem::exists(log));
}

} // namespace
