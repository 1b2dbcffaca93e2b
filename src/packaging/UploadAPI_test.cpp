#include "packaging/UploadAPI.h"

#include "packaging/TransportError.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace {

using test_support::logLines;
using UploadAPI::handleResponse;

const UploadError serverError{QStringLiteral("com.brennic.LumadocDiagnostics.upload"), 1,
                              QStringLiteral("Internal Server Error.")};
const UploadError unknownError{QStringLiteral("com.brennic.LumadocDiagnostics.upload"), 0,
                               QStringLiteral("Unknown error occurred.")};

class UploadAPITest : public testing::Test {
protected:
    test_support::ScratchHome home;
    std::filesystem::path log = test_support::startLog();
};

TEST_F(UploadAPITest, Status200WithDataIsSuccess) {
    EXPECT_EQ(handleResponse({200, "thanks", std::nullopt}), UploadResult("thanks"));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: Status Code: 200"),
                                          QStringLiteral("INFO: Response Data: thanks")}));
}

TEST_F(UploadAPITest, Status200WithAnEmptyBodyIsSuccessWithEmptyData) {
    EXPECT_EQ(handleResponse({200, QByteArray(), std::nullopt}), UploadResult(QByteArray()));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: Status Code: 200"),
                                          QStringLiteral("INFO: Response Data: ")}));
}

TEST_F(UploadAPITest, Status200WithoutDataIsAnUnknownFailure) {
    EXPECT_EQ(handleResponse({200, std::nullopt, std::nullopt}), UploadResult(unknownError));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: Status Code: 200"),
                                          QStringLiteral("INFO: Unknown error occurred.")}));
}

TEST_F(UploadAPITest, DataThatIsNoTextIsLoggedAsNothing) {
    EXPECT_EQ(handleResponse({200, "\xff\xfe", std::nullopt}), UploadResult("\xff\xfe"));
    EXPECT_EQ(logLines(log).last(), QStringLiteral("INFO: Response Data: "));
}

class ServerErrorTest : public UploadAPITest, public testing::WithParamInterface<int> {};
TEST_P(ServerErrorTest, WithDataHasItsOwnCode) {
    EXPECT_EQ(handleResponse({GetParam(), "no", std::nullopt}), UploadResult(serverError));
    EXPECT_EQ(logLines(log).size(), 2);
}
TEST_P(ServerErrorTest, WithoutDataIsUnknown) {
    EXPECT_EQ(handleResponse({GetParam(), std::nullopt, std::nullopt}), UploadResult(unknownError));
}
INSTANTIATE_TEST_SUITE_P(Statuses, ServerErrorTest, testing::Values(405, 413, 500));

class OtherStatusTest : public UploadAPITest, public testing::WithParamInterface<int> {};
TEST_P(OtherStatusTest, IsUnknown) {
    EXPECT_EQ(handleResponse({GetParam(), "data", std::nullopt}), UploadResult(unknownError));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: Status Code: %1").arg(GetParam()),
                                          QStringLiteral("INFO: Response Data: data"),
                                          QStringLiteral("INFO: Unknown error occurred.")}));
}
INSTANTIATE_TEST_SUITE_P(Statuses, OtherStatusTest, testing::Values(201, 204, 302, 400, 401, 404, 503));

TEST_F(UploadAPITest, ATransportErrorIsPassedOnAndDescribed) {
    const UploadError lost = transportError(TransportErrorCode::connectionLost);
    EXPECT_EQ(handleResponse({std::nullopt, std::nullopt, lost}), UploadResult(lost));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: The connection to the support server was lost.")});
}

TEST_F(UploadAPITest, ATransferThatBrokeBehindItsStatusLineHasBoth) {
    const UploadError lost = transportError(TransportErrorCode::connectionLost);
    EXPECT_EQ(handleResponse({200, std::nullopt, lost}), UploadResult(lost));
    EXPECT_EQ(logLines(log),
              (QStringList{QStringLiteral("INFO: Status Code: 200"),
                           QStringLiteral("INFO: The connection to the support server was lost.")}));
}

TEST_F(UploadAPITest, WithoutALocationNothingHappens) {
    UploadAPI::upload(std::nullopt, [](const UploadResult &) { FAIL() << "no upload, no call"; });
    EXPECT_FALSE(UploadAPI::uploadTask);
}

TEST_F(UploadAPITest, AnArchiveThatCannotBeOpenedEndsTheProcess) {
    EXPECT_EXIT(UploadAPI::upload(home.path() / "missing.zip", [](const UploadResult &) {}),
                testing::ExitedWithCode(1), "cannot be opened");
}

TEST_F(UploadAPITest, EndpointIsTheMakersHostOverHttps) {
    EXPECT_EQ(UploadAPI::endpoint(), "https://support.brennic.example/cr-apip-7.0.0/mac/log");
}

class ProgressTest : public UploadAPITest {
protected:
    void report(std::int64_t sent, std::int64_t expected) {
        UploadTaskDelegate().urlSession(1, sent, expected);
    }
    void bind() {
        UploadAPI::uploadProgress =
            TextBinding{[this] { return label; }, [this](const QString &text) { label = text; }};
    }

    QString label = QStringLiteral("before");
};

TEST_F(ProgressTest, WholePercentsFromOneTo99AreShownAndNotLogged) {
    bind();
    for (const auto &[sent, shown] :
         {std::pair(1, "Uploading 1%"), {42, "Uploading 42%"}, {99, "Uploading 99%"}}) {
        report(sent, 100);
        EXPECT_EQ(label, QString::fromLatin1(shown));
    }
    report(429, 1000);
    EXPECT_EQ(label, QStringLiteral("Uploading 42%"));
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(ProgressTest, AtTheBeginningAndTheEndTheTextIsLoggedAndLeft) {
    bind();
    report(9, 1000);
    report(1000, 1000);
    EXPECT_EQ(label, QStringLiteral("before"));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: before"), QStringLiteral("INFO: before")}));
}

TEST_F(ProgressTest, AnUploadKeepsTheLineThatItStartedWith) {
    bind();
    UploadTaskDelegate delegate;
    UploadAPI::uploadProgress.reset();
    delegate.urlSession(1, 42, 100);
    EXPECT_EQ(label, QStringLiteral("Uploading 42%"));
}

TEST_F(ProgressTest, WithoutAWindowAnEmptyLineIsLogged) {
    report(0, 1000);
    report(500, 1000);
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: ")});
}

TEST_F(ProgressTest, ATotalOfNothingEndsTheProcess) {
    EXPECT_EXIT(report(0, 0), testing::ExitedWithCode(1), "progress cannot be told");
    EXPECT_EXIT(report(1, 0), testing::ExitedWithCode(1), "progress cannot be told");
}

} // namespace
