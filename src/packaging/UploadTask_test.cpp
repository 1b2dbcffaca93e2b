#include "packaging/UploadTask.h"

#include "platform/posix/FileSystem.h"
#include "support_service/SupportService.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"

#include <algorithm>
#include <future>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using test_support::ScopedEnvironment;

class UploadTaskTest : public testing::Test {
protected:
    void SetUp() override { m_trust.emplace("SSL_CERT_FILE", service.certificateFile().native()); }

    void start(const QByteArray &content, UploadLimits limits = {}) {
        startTo(QByteArray::fromStdString(service.host()), content, limits);
    }
    void startTo(const QByteArray &host, const QByteArray &content, UploadLimits limits = {}) {
        const auto file = home.path() / "archive.zip";
        test_support::writeFile(file, content);
        UploadRequest request;
        std::error_code error;
        request.archive = platform::openRegularFile(file, request.archiveBytes, error);
        request.url = "https://" + host + "/cr-apip-7.0.0/mac/log";
        request.contentType = "multipart/form-data; boundary=B";
        // A body that the service takes.
        request.head = "\r\n--B\r\n";
        request.tail = "\r\n--B--\r\n";
        finished = {};
        finishedCalls = 0;
        progress.clear();
        task = std::make_unique<UploadTask>(
            std::move(request),
            [this](std::int64_t bytes, std::int64_t sent, std::int64_t expected) {
                progress.push_back({bytes, sent, expected});
            },
            [this](const UploadResponse &response) {
                ++finishedCalls;
                finished.set_value(response);
            },
            limits);
        task->resume();
    }

    UploadResponse waitForEnd() {
        auto future = finished.get_future();
        if (future.wait_for(20s) != std::future_status::ready) {
            ADD_FAILURE() << "the upload did not end";
            return {};
        }
        return future.get();
    }

    UploadResponse upload(const QByteArray &content = "content", UploadLimits limits = {}) {
        start(content, limits);
        return waitForEnd();
    }
    // The code of the error that an upload to a service that behaves like this ends with; 0 for none.
    int errorOf(const Behaviour &behaviour, const QByteArray &content = "content", UploadLimits limits = {}) {
        service.setBehaviour(behaviour);
        return code(upload(content, limits));
    }
    static int code(const UploadResponse &response) { return response.error ? response.error->code : 0; }

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
    std::optional<ScopedEnvironment> m_trust;
};

QByteArray someBytes(qsizetype count) {
    QByteArray bytes(count, Qt::Uninitialized);
    for (qsizetype i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i * 7 + (i >> 8));
    return bytes;
}

TEST_F(UploadTaskTest, SendsTheBodyByteForByteAndNoOtherHeaderThanTheType) {
    // More than one of libcurl's buffers; nothing.
    for (const QByteArray &content : {someBytes(300'001), QByteArray()}) {
        const UploadResponse response = upload(content);
        EXPECT_EQ(response.statusCode, 200);
        EXPECT_EQ(response.data, "Received.");
        EXPECT_FALSE(response.error);
        const auto request = service.requests().back();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.target, "/cr-apip-7.0.0/mac/log");
        EXPECT_EQ(request.header("Content-Type"), "multipart/form-data; boundary=B");
        EXPECT_EQ(*request.body, ("\r\n--B\r\n" + content + "\r\n--B--\r\n").toStdString());
        for (const auto &[name, value] : request.headers)
            EXPECT_TRUE(name == "Host" || name == "Accept" || name == "Content-Type" ||
                        name == "Content-Length")
                << name;
    }
}

TEST_F(UploadTaskTest, ReportsEachWholePercentOnceInOrderUpToTheWhole) {
    service.setBehaviour({.readBytesPerSecond = 40'000'000});
    upload(someBytes(8'000'000));
    ASSERT_GT(progress.size(), 20U);
    EXPECT_LE(progress.size(), 102U);
    std::int64_t sent = 0;
    for (const Report &report : progress) {
        sent += report.bytes;
        EXPECT_EQ(report.sent, sent);
        EXPECT_EQ(report.expected, progress.front().expected);
    }
    EXPECT_EQ(sent, progress.back().expected);
}

TEST_F(UploadTaskTest, OfWhichTheConnectionBreaksIsLost) {
    service.setBehaviour({.resetAfterBytes = 100'000});
    const UploadResponse inBody = upload(someBytes(4'000'000));
    EXPECT_FALSE(inBody.statusCode || inBody.data);
    EXPECT_EQ(code(inBody), TransportErrorCode::connectionLost);
    for (const auto ending : {AnswerEnding::resetAfterHeaders, AnswerEnding::resetInBody}) {
        service.setBehaviour({.body = std::string(1000, 'x'), .ending = ending});
        const UploadResponse inAnswer = upload();
        EXPECT_EQ(inAnswer.statusCode, 200);
        EXPECT_FALSE(inAnswer.data);
        EXPECT_EQ(code(inAnswer), TransportErrorCode::connectionLost);
    }
}

TEST_F(UploadTaskTest, TakesAnEarlyAnswerAndAtMostTheLimitOfAnEndlessOne) {
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenRead, .status = 413, .body = "big"});
    const UploadResponse early = upload(someBytes(4'000'000));
    EXPECT_EQ(early.statusCode, 413);
    EXPECT_EQ(early.data, "big");
    service.setBehaviour({.ending = AnswerEnding::endlessBody});
    const UploadResponse endless = upload("content", {.answerBytes = 100'000});
    EXPECT_EQ(endless.statusCode, 200);
    ASSERT_TRUE(endless.data);
    EXPECT_EQ(endless.data->size(), 100'000);
}

TEST_F(UploadTaskTest, LimitsTheTimeOfTheAnswerAlone) {
    service.setBehaviour({.ending = AnswerEnding::trickle, .trickleInterval = 20ms});
    const UploadLimits limits{.idle = 10s, .answer = 500ms};
    const UploadResponse response = upload("content", limits);
    EXPECT_EQ(response.statusCode, 200);
    EXPECT_FALSE(response.data);
    EXPECT_EQ(code(response), TransportErrorCode::timedOut);
    EXPECT_NE(errorOf({.ending = AnswerEnding::endlessHeaders}, "content", {.answer = 2s}), 0);

    // Neither a redirect nor a proxy's consent begins it.
    const QByteArray content = someBytes(6'000'000);
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"}, 1);
    EXPECT_EQ(upload(content, limits).statusCode, 200);
    const test_support::ConnectProxy proxy;
    const ScopedEnvironment way("https_proxy", proxy.url());
    EXPECT_EQ(upload(content, limits).statusCode, 200);
    EXPECT_EQ(proxy.requests().size(), 1U);
}

TEST_F(UploadTaskTest, IsTimedOutWhenNothingMoves) {
    const UploadLimits limits{.idle = 400ms};
    EXPECT_EQ(errorOf({.stopReadingAfterBytes = 1000}, someBytes(20'000'000), limits),
              TransportErrorCode::timedOut);
    EXPECT_EQ(errorOf({.neverAnswer = true}, "content", limits), TransportErrorCode::timedOut);
    service.setHandshake(Handshake::hang);
    EXPECT_EQ(errorOf({}, "content", limits), TransportErrorCode::timedOut);
}

TEST_F(UploadTaskTest, WaitsForASlowServiceThatKeepsReading) {
    EXPECT_EQ(errorOf({.readBytesPerSecond = 4'000'000}, someBytes(6'000'000), {.idle = 900ms}), 0);
    // Small enough to fit whole into the buffers on the way, where libcurl does not see it any more.
    EXPECT_EQ(errorOf({.readBytesPerSecond = 1'000'000}, someBytes(3'000'000), {.idle = 1s}), 0);
}

TEST_F(UploadTaskTest, SendsNothingWithoutAConnectionThatItTrusts) {
    const std::pair<CertificateKind, int> cases[] = {{CertificateKind::wrongHost, -1202},
                                                     {CertificateKind::untrusted, -1202},
                                                     {CertificateKind::expired, -1201},
                                                     {CertificateKind::notYetValid, -1204}};
    for (const auto &[kind, expected] : cases) {
        service.setCertificate(kind);
        EXPECT_EQ(code(upload()), expected);
    }
    service.setHandshake(Handshake::refuse);
    EXPECT_EQ(code(upload()), TransportErrorCode::secureConnectionFailed);
    EXPECT_TRUE(service.requests().empty());
    EXPECT_EQ(service.bodyBytes(), 0U);
    startTo("127.0.0.1:1", "content");
    EXPECT_EQ(code(waitForEnd()), TransportErrorCode::cannotConnectToHost);
}

TEST_F(UploadTaskTest, FollowsRedirectsWithTheBodyOnlyWhereTheMethodStays) {
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"}, 1);
    EXPECT_EQ(upload(someBytes(200'000)).statusCode, 200);
    service.setBehaviour({.status = 302, .location = "/elsewhere"}, 1);
    EXPECT_EQ(upload().statusCode, 404);
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[0].body->size(), requests[1].body->size());
    EXPECT_EQ(requests[3].method, "GET");
}

TEST_F(UploadTaskTest, FollowsRedirectsToHttpsOnlyAndNotForEver) {
    service.setBehaviour({.status = 302});
    EXPECT_EQ(upload().statusCode, 302) << "without a location it is the answer";
    EXPECT_EQ(errorOf({.status = 307, .location = "http://" + service.host() + "/"}),
              TransportErrorCode::unknown);
    EXPECT_EQ(errorOf({.status = 307, .location = "/cr-apip-7.0.0/mac/log"}), TransportErrorCode::unknown);
}

TEST_F(UploadTaskTest, IsCancelledPromptlyWithOneCall) {
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    start(someBytes(20'000'000));
    ASSERT_TRUE(service.waitForBodyBytes(1000, 10s));
    const auto begin = std::chrono::steady_clock::now();
    task->cancel();
    EXPECT_EQ(code(waitForEnd()), TransportErrorCode::cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    task->cancel();
    task.reset();
    EXPECT_EQ(finishedCalls, 1);

    service.setBehaviour({});
    EXPECT_EQ(upload().statusCode, 200);
    task->cancel();
    task.reset();
    EXPECT_EQ(finishedCalls, 1) << "cancelling after the end changes nothing";
}

TEST_F(UploadTaskTest, StopsPromptlyWithoutACallWhenItIsDestroyed) {
    service.setBehaviour({.neverAnswer = true});
    start("content");
    ASSERT_TRUE(service.waitForRequests(1, 10s));
    const auto begin = std::chrono::steady_clock::now();
    task.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_EQ(finishedCalls, 0);
    const UploadTask neverStarted(
        UploadRequest(), [](auto...) { FAIL(); }, [](const auto &) { FAIL(); });
}

} // namespace
