#include "packaging/UploadAPI.h"

#include "test_support/LoggedTest.h"

#include <QRegularExpression>

// Whole uploads are tested with the shipped bundle, whose Info.plist names the service.

namespace {

using testing::ElementsAre;
using UploadAPI::handleResponse;

const QString uploadDomain = QStringLiteral("com.brennic.LumadocDiagnostics.upload");
const UploadError serverError{uploadDomain, 1, QStringLiteral("Internal Server Error.")};
const UploadError unknownError{uploadDomain, 0, QStringLiteral("Unknown error occurred.")};

using Uploading = test_support::LoggedTest;

TEST_F(Uploading, IsASuccessOnlyWithStatus200AndData) {
    const UploadError lost = transportError(TransportErrorCode::connectionLost);
    const std::string lostLine = "INFO: The connection to the support server was lost.";
    const std::string unknownLine = "INFO: Unknown error occurred.";
    const std::string status = "INFO: Status Code: ";
    const std::string data = "INFO: Response Data: ";
    struct Case {
        UploadResponse response;
        UploadResult result;
        std::vector<std::string> lines;
    };
    std::vector<Case> cases{
        {{200, "thanks", {}}, QByteArray("thanks"), {status + "200", data + "thanks"}},
        {{200, "", {}}, QByteArray(""), {status + "200", data}},
        {{200, "\xff\xfe", {}}, QByteArray("\xff\xfe"), {status + "200", data}},
        {{200, "a\nERROR: b", {}},
         QByteArray("a\nERROR: b"),
         {status + "200", data + "a", "MALFORMED:  ERROR: b"}},
        {{200, {}, {}}, unknownError, {status + "200", unknownLine}},
        {{500, {}, {}}, unknownError, {status + "500", unknownLine}},
        {{{}, {}, lost}, lost, {lostLine}},
        {{200, {}, lost}, lost, {status + "200", lostLine}},
    };
    for (const int code : {405, 413, 500})
        cases.push_back({{code, "no", {}}, serverError, {status + std::to_string(code), data + "no"}});
    for (const int code : {201, 204, 302, 400, 404, 503})
        cases.push_back(
            {{code, "data", {}}, unknownError, {status + std::to_string(code), data + "data", unknownLine}});
    for (const auto &[response, result, lines] : cases) {
        std::filesystem::remove(log);
        EXPECT_EQ(handleResponse(response), result) << lines.front();
        EXPECT_EQ(said(), lines);
    }
}

TEST_F(Uploading, LogsAFailureWithItsCodeItsDomainAndItsReason) {
    const QString domain = QStringLiteral("NSURLErrorDomain");
    const std::tuple<int, QString, std::vector<std::string>> cases[] = {
        {-999, QStringLiteral("text"), {"Upload task was canceled"}},
        {-1009, QStringLiteral("text"), {"No internet connection"}},
        {1, QStringLiteral("Text."), {"Other network error: Text.", "userInfo: Text."}},
        {7,
         {},
         {"Other network error: The operation couldn’t be completed. (NSURLErrorDomain error 7.)",
          "userInfo: no userInfo"}},
    };
    for (const auto &[code, text, reason] : cases) {
        std::filesystem::remove(log);
        UploadAPI::logUploadError({domain, code, text});
        std::vector<std::string> lines{"ERROR: Upload error code: " + std::to_string(code),
                                       "ERROR: Upload error domain: NSURLErrorDomain"};
        for (const std::string &line : reason)
            lines.push_back("ERROR: " + line);
        EXPECT_EQ(said(), lines);
    }
}

TEST_F(Uploading, SendsAMultipartFormByteForByteWithAFreshBoundary) {
    const UploadRequest request = UploadAPI::multipartRequest("lumaMacLog_1_cef.zip");
    static const QRegularExpression form(
        QStringLiteral("^multipart/form-data; "
                       "boundary=([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12})$"));
    const auto match = form.match(QString::fromLatin1(request.contentType));
    ASSERT_TRUE(match.hasMatch());
    const QByteArray boundary = match.captured(1).toLatin1();
    EXPECT_EQ(request.head, "\r\n--" + boundary +
                                "\r\nContent-Disposition: form-data; name=\"file\"; "
                                "filename=\"lumaMacLog_1_cef.zip\"\r\n"
                                "Content-Type: application/octet-stream\r\n\r\n");
    EXPECT_EQ(request.tail, "\r\n--" + boundary + "--\r\n");
    EXPECT_NE(UploadAPI::multipartRequest("a.zip").contentType, request.contentType);
    EXPECT_EQ(UploadAPI::endpoint(), "https://support.brennic.example/cr-apip-7.0.0/mac/log");
}

TEST_F(Uploading, NeedsAnArchive) {
    const auto handler = [](const UploadResult &) { FAIL() << "no upload, no call"; };
    UploadAPI::upload(std::nullopt, handler);
    UtilityFunctions::SilentUpload(handler);
    EXPECT_FALSE(UploadAPI::uploadTask || std::filesystem::exists(log));
    const auto send = [&] {
        UploadAPI::upload(home.path() / "missing.zip", handler);
        std::this_thread::sleep_for(std::chrono::seconds(20));
    };
    EXPECT_EXIT(send(), testing::ExitedWithCode(1), "cannot be opened");
}

TEST_F(Uploading, ShowsItsProgressInWholePercentsFrom1To99AndLogsItAtBothEnds) {
    QString label = QStringLiteral("before");
    UploadAPI::uploadProgress =
        TextBinding{[&] { return label; }, [&](const QString &text) { label = text; }};
    // Keeps the line that the upload started with.
    UploadTaskDelegate delegate;
    UploadAPI::uploadProgress.reset();
    for (const auto &[sent, shown] : {std::pair(9, "before"),
                                      {10, "Uploading 1%"},
                                      {429, "Uploading 42%"},
                                      {999, "Uploading 99%"},
                                      {1000, "Uploading 99%"}}) {
        delegate.urlSession(1, sent, 1000);
        EXPECT_EQ(label, QString::fromLatin1(shown));
    }
    for (const int sent : {0, 500})
        UploadTaskDelegate().urlSession(1, sent, 1000);
    EXPECT_THAT(said(), ElementsAre("INFO: before", "INFO: Uploading 99%", "INFO: "));
    for (const int sent : {0, 1})
        EXPECT_EXIT(delegate.urlSession(1, sent, 0), testing::ExitedWithCode(1), "progress cannot be told");
}

} // namespace
