#include "packaging/UploadTask.h"

#include "packaging/TransportError.h"
#include "platform/posix/FileSystem.h"
#include "support_service/SupportService.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"

#include <algorithm>
#include <future>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using support_service::Behaviour;
using support_service::SupportService;

class UploadTaskTest : public testing::Test {
protected:
    void SetUp() override { m_trust.emplace("SSL_CERT_FILE", service.certificateFile().native()); }

    std::unique_ptr<UploadTask> makeTask(const QByteArray &content, UploadLimits limits = {}) {
        const auto file = home.path() / "archive.zip";
        test_support::writeFile(file, content);
        UploadRequest request;
        std::error_code error;
        request.archive = platform::openRegularFile(file, request.archiveBytes, error);
        request.url = "https://" + QByteArray::fromStdString(service.host()) + "/cr-apip-7.0.0/mac/log";
        request.contentType = "multipart/form-data; boundary=B";
        request.frame = multipartFrame("B", "archive.zip");
        return std::make_unique<UploadTask>(
            std::move(request),
            [this](std::int64_t bytes, std::int64_t sent, std::int64_t expected) {
                progress.push_back({bytes, sent, expected});
            },
            [this](const UploadResponse &response) {
                ++finishedCalls;
                finished.set_value(response);
            },
            limits);
    }

    UploadResponse waitForEnd() {
        auto future = finished.get_future();
        if (future.wait_for(20s) != std::future_status::ready) {
            ADD_FAILURE() << "the upload did not end";
            return {};
        }
        return future.get();
    }

    UploadResponse upload(const QByteArray &content, UploadLimits limits = {}) {
        task = makeTask(content, limits);
        task->resume();
        return waitForEnd();
    }

    struct Report {
        std::int64_t bytes;
        std::int64_t sent;
        std::int64_t expected;
    };

    test_support::ScratchHome home;
    SupportService service;
    std::vector<Report> progress;
    std::promise<UploadResponse> finished;
    int finishedCalls = 0;
    std::unique_ptr<UploadTask> task;

private:
    std::optional<test_support::ScopedEnvironment> m_trust;
};

int errorCode(const UploadResponse &response) {
    return response.error ? response.error->code : 0;
}

QByteArray someBytes(qsizetype count) {
    QByteArray bytes(count, Qt::Uninitialized);
    for (qsizetype i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i * 7 + (i >> 8));
    return bytes;
}

TEST_F(UploadTaskTest, SendsTheBodyByteForByteAndNoHeaderOfItsOwnButTheType) {
    const QByteArray content = someBytes(300'001); // More than one of libcurl's buffers.
    const UploadResponse response = upload(content);
    EXPECT_EQ(response.statusCode, 200);
    EXPECT_EQ(response.data, "Received.");
    EXPECT_FALSE(response.error);
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 1U);
    const auto &request = requests.front();
    const MultipartFrame frame = multipartFrame("B", "archive.zip");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/cr-apip-7.0.0/mac/log");
    EXPECT_EQ(request.header("Content-Type"), "multipart/form-data; boundary=B");
    EXPECT_EQ(*request.body, (frame.head + content + frame.tail).toStdString());
    for (const auto &[name, value] : request.headers)
        EXPECT_TRUE(name == "Host" || name == "Accept" || name == "Content-Type" || name == "Content-Length")
            << name;
}

TEST_F(UploadTaskTest, AnEmptyArchiveIsSentToo) {
    EXPECT_EQ(upload({}).statusCode, 200);
    EXPECT_EQ(service.receipts().at(0).sizeBytes, 0U);
}

TEST_F(UploadTaskTest, ReportsEachWholePercentOnceInOrderUpToTheWhole) {
    service.setBehaviour({.readBytesPerSecond = 40'000'000});
    upload(someBytes(8'000'000));
    ASSERT_FALSE(progress.empty());
    EXPECT_LE(progress.size(), 102U);
    std::int64_t sent = 0;
    for (const Report &report : progress) {
        sent += report.bytes;
        EXPECT_EQ(report.sent, sent);
        EXPECT_EQ(report.expected, progress.front().expected);
    }
    EXPECT_EQ(sent, progress.back().expected);
    EXPECT_GT(progress.size(), 20U);
}

TEST_F(UploadTaskTest, AConnectionResetInTheBodyIsLost) {
    service.setBehaviour({.resetAfterBytes = 100'000});
    const UploadResponse response = upload(someBytes(4'000'000));
    EXPECT_FALSE(response.statusCode || response.data);
    EXPECT_EQ(errorCode(response), TransportErrorCode::connectionLost);
}

TEST_F(UploadTaskTest, AnAnswerThatBreaksOffHasAStatusNoDataAndAnError) {
    using support_service::AnswerEnding;
    for (const auto ending : {AnswerEnding::resetAfterHeaders, AnswerEnding::resetInBody}) {
        finished = {};
        service.setBehaviour({.body = std::string(1000, 'x'), .ending = ending});
        const UploadResponse response = upload("content");
        EXPECT_EQ(response.statusCode, 200);
        EXPECT_FALSE(response.data);
        EXPECT_EQ(errorCode(response), TransportErrorCode::connectionLost);
    }
}

TEST_F(UploadTaskTest, AnEarlyAnswerIsTheAnswer) {
    service.setBehaviour(
        {.answerTime = support_service::AnswerTime::beforeBodyThenRead, .status = 413, .body = "big"});
    const UploadResponse response = upload(someBytes(4'000'000));
    EXPECT_EQ(response.statusCode, 413);
    EXPECT_EQ(response.data, "big");
}

TEST_F(UploadTaskTest, KeepsAtMostTheLimitOfAnEndlessAnswer) {
    service.setBehaviour({.ending = support_service::AnswerEnding::endlessBody});
    const UploadResponse response = upload("content", {.answerBytes = 100'000});
    EXPECT_EQ(response.statusCode, 200);
    ASSERT_TRUE(response.data);
    EXPECT_EQ(response.data->size(), 100'000);
}

TEST_F(UploadTaskTest, AnAnswerThatTricklesForEverIsTimedOut) {
    service.setBehaviour({.ending = support_service::AnswerEnding::trickle, .trickleInterval = 20ms});
    const UploadResponse response = upload("content", {.idle = 10s, .answer = 500ms});
    EXPECT_EQ(response.statusCode, 200);
    EXPECT_FALSE(response.data);
    EXPECT_EQ(errorCode(response), TransportErrorCode::timedOut);
}

// The time for the answer is for the answer alone.
TEST_F(UploadTaskTest, AProxysConsentBeginsNoAnswer) {
    const test_support::ConnectProxy proxy;
    const test_support::ScopedEnvironment way("https_proxy", proxy.url());
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    EXPECT_EQ(upload(someBytes(6'000'000), {.idle = 10s, .answer = 500ms}).statusCode, 200);
    EXPECT_EQ(proxy.requests().size(), 1U);
}

TEST_F(UploadTaskTest, ARedirectBeginsNoAnswer) {
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"}, 1);
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    EXPECT_EQ(upload(someBytes(6'000'000), {.idle = 10s, .answer = 500ms}).statusCode, 200);
}

TEST_F(UploadTaskTest, EndlessHeadersEnd) {
    service.setBehaviour({.ending = support_service::AnswerEnding::endlessHeaders});
    EXPECT_NE(errorCode(upload("content", {.answer = 2s})), 0);
}

TEST_F(UploadTaskTest, AServiceThatStopsReadingIsTimedOut) {
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    EXPECT_EQ(errorCode(upload(someBytes(20'000'000), {.idle = 400ms})), TransportErrorCode::timedOut);
}

TEST_F(UploadTaskTest, AServiceThatNeverAnswersIsTimedOut) {
    service.setBehaviour({.neverAnswer = true});
    EXPECT_EQ(errorCode(upload("content", {.idle = 400ms})), TransportErrorCode::timedOut);
}

TEST_F(UploadTaskTest, AHandshakeThatHangsIsTimedOut) {
    service.setHandshake(support_service::Handshake::hang);
    EXPECT_EQ(errorCode(upload("content", {.idle = 400ms})), TransportErrorCode::timedOut);
}

TEST_F(UploadTaskTest, ASlowServiceThatKeepsReadingIsNotTimedOut) {
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    EXPECT_EQ(upload(someBytes(6'000'000), {.idle = 900ms}).statusCode, 200);
}

TEST_F(UploadTaskTest, ASlowServiceIsNotTimedOutWhileTheSystemsBuffersDrain) {
    // Small enough to fit whole into the buffers on the way, where libcurl does not see it any more.
    service.setBehaviour({.readBytesPerSecond = 1'000'000});
    EXPECT_EQ(upload(someBytes(3'000'000), {.idle = 1s}).statusCode, 200);
}

TEST_F(UploadTaskTest, ARefusedHandshakeIsATlsFailure) {
    service.setHandshake(support_service::Handshake::refuse);
    EXPECT_EQ(errorCode(upload("content")), TransportErrorCode::secureConnectionFailed);
}

struct CertificateCase {
    support_service::CertificateKind kind;
    int code;
};

class CertificateTest : public UploadTaskTest, public testing::WithParamInterface<CertificateCase> {};

TEST_P(CertificateTest, ThatDoesNotHoldHasItsCodeAndNothingIsSent) {
    service.setCertificate(GetParam().kind);
    EXPECT_EQ(errorCode(upload("content")), GetParam().code);
    EXPECT_TRUE(service.requests().empty());
    EXPECT_EQ(service.bodyBytes(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CertificateTest,
                         testing::Values(CertificateCase{support_service::CertificateKind::wrongHost, -1202},
                                         CertificateCase{support_service::CertificateKind::untrusted, -1202},
                                         CertificateCase{support_service::CertificateKind::expired, -1201},
                                         CertificateCase{support_service::CertificateKind::notYetValid,
                                                         -1204}));

TEST_F(UploadTaskTest, RedirectsThatKeepTheMethodSendTheBodyAgain) {
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"}, 1);
    EXPECT_EQ(upload(someBytes(200'000)).statusCode, 200);
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[0].body->size(), requests[1].body->size());
}

TEST_F(UploadTaskTest, OtherRedirectsAreFollowedWithoutTheBody) {
    service.setBehaviour({.status = 302, .location = "/elsewhere"}, 1);
    EXPECT_EQ(upload("content").statusCode, 404);
    EXPECT_EQ(service.requests().at(1).method, "GET");
}

TEST_F(UploadTaskTest, ARedirectWithoutALocationIsTheAnswer) {
    service.setBehaviour({.status = 302});
    EXPECT_EQ(upload("content").statusCode, 302);
}

TEST_F(UploadTaskTest, RedirectsLeadToHttpsOnlyAndHaveAnEnd) {
    service.setBehaviour({.status = 307, .location = "http://" + service.host() + "/"}, 1);
    EXPECT_EQ(errorCode(upload("content")), TransportErrorCode::unknown);
    finished = {};
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"});
    EXPECT_EQ(errorCode(upload("content")), TransportErrorCode::unknown);
}

TEST_F(UploadTaskTest, ClosedPortCannotBeConnectedTo) {
    UploadRequest request;
    std::error_code error;
    test_support::writeFile(home.path() / "archive.zip", "content");
    request.archive = platform::openRegularFile(home.path() / "archive.zip", request.archiveBytes, error);
    request.url = "https://127.0.0.1:1/";
    request.frame = multipartFrame("B", "archive.zip");
    UploadTask refused(
        std::move(request), [](auto...) {}, [this](const auto &response) { finished.set_value(response); });
    refused.resume();
    EXPECT_EQ(errorCode(waitForEnd()), TransportErrorCode::cannotConnectToHost);
}

TEST_F(UploadTaskTest, CancellingEndsItPromptlyWithOneCall) {
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    task = makeTask(someBytes(20'000'000));
    task->resume();
    ASSERT_TRUE(service.waitForBodyBytes(1000, 10s));
    const auto begin = std::chrono::steady_clock::now();
    task->cancel();
    EXPECT_EQ(errorCode(waitForEnd()), TransportErrorCode::cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    task->cancel();
    task.reset();
    EXPECT_EQ(finishedCalls, 1);
}

TEST_F(UploadTaskTest, CancellingBehindTheEndChangesNothing) {
    EXPECT_EQ(upload("content").statusCode, 200);
    task->cancel();
    task.reset();
    EXPECT_EQ(finishedCalls, 1);
}

TEST_F(UploadTaskTest, DestroyingItStopsPromptlyAndTellsNobody) {
    service.setBehaviour({.neverAnswer = true});
    task = makeTask("content");
    task->resume();
    ASSERT_TRUE(service.waitForRequests(1, 10s));
    const auto begin = std::chrono::steady_clock::now();
    task.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_EQ(finishedCalls, 0);
}

TEST_F(UploadTaskTest, OneThatWasNeverStartedIsDestroyedQuietly) {
    task = makeTask("content");
    task.reset();
    EXPECT_EQ(finishedCalls, 0);
}

} // namespace
