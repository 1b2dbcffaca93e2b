#include "packaging/UploadTask.h"

#include "platform/posix/FileSystem.h"
#include "support_service/SupportService.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"
#include "test_support/Soon.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using test_support::ScopedEnvironment;
using test_support::soon;

class UploadTaskTest : public testing::Test {
protected:
    void SetUp() override { m_trust.emplace("SSL_CERT_FILE", service.certificateFile().native()); }

    void start(const QByteArray &content, UploadLimits limits = {}) {
        startTo(service.host(), content, limits);
    }
    void startTo(const std::string &host, const QByteArray &content, UploadLimits limits = {}) {
        const auto file = home.path() / "archive.zip";
        test_support::writeFile(file, content);
        UploadRequest request;
        std::error_code error;
        request.archive = platform::openRegularFile(file, request.archiveBytes, error);
        request.url = QByteArray::fromStdString("https://" + host + path);
        request.contentType = "multipart/form-data; boundary=B";
        // A body that the service takes.
        request.head = "\r\n--B\r\n";
        request.tail = "\r\n--B--\r\n";
        finished = {};
        ending = finished.get_future();
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
        if (ending.wait_for(20s) != std::future_status::ready) {
            ADD_FAILURE() << "the upload did not end";
            return {};
        }
        return ending.get();
    }

    UploadResponse upload(const QByteArray &content = "content", UploadLimits limits = {}) {
        start(content, limits);
        return waitForEnd();
    }
    // Uploads to a service that behaves like this, and keeps what it answers.
    void expectEnd(const Behaviour &behaviour, std::optional<int> status, int error,
                   const QByteArray &content = "content", UploadLimits limits = {}) {
        SCOPED_TRACE(testing::Message() << "status " << status.value_or(0) << ", error " << error);
        service.setBehaviour(behaviour);
        const UploadResponse response = upload(content, limits);
        EXPECT_EQ(response.statusCode, status);
        EXPECT_EQ(code(response), error);
        EXPECT_EQ(response.data.has_value(), error == 0);
        answer = response.data.value_or(QByteArray());
    }
    static int code(const UploadResponse &response) { return response.error ? response.error->code : 0; }

    struct Report {
        std::int64_t bytes;
        std::int64_t sent;
        std::int64_t expected;
    };

    const std::string path = "/cr-apip-7.0.0/mac/log";
    const UploadLimits shortAnswer{.idle = 10s, .answer = 500ms};
    QByteArray answer;
    test_support::ScratchHome home;
    SupportService service;
    std::vector<Report> progress;
    std::promise<UploadResponse> finished;
    std::future<UploadResponse> ending;
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
        EXPECT_EQ(request.target, path);
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

TEST_F(UploadTaskTest, EndsAsTheServiceMakesIt) {
    using namespace TransportErrorCode;
    const QByteArray large = someBytes(4'000'000);
    const std::string body(1000, 'x');
    expectEnd({.resetAfterBytes = 100'000}, {}, connectionLost, large);
    expectEnd({.body = body, .ending = AnswerEnding::resetAfterHeaders}, 200, connectionLost);
    expectEnd({.body = body, .ending = AnswerEnding::resetInBody}, 200, connectionLost);
    expectEnd({.answerTime = AnswerTime::beforeBodyThenRead, .status = 413, .body = "big"}, 413, 0, large);
    EXPECT_EQ(answer, "big");
    expectEnd({.ending = AnswerEnding::endlessBody}, 200, 0, "", {.answerBytes = 100'000});
    EXPECT_EQ(answer.size(), 100'000) << "as much as the limit lets through";
    expectEnd({.ending = AnswerEnding::trickle, .trickleInterval = 20ms}, 200, timedOut, "", shortAnswer);
    service.setBehaviour({.ending = AnswerEnding::endlessHeaders});
    EXPECT_NE(code(upload("", {.answer = 2s})), 0);

    const UploadLimits shortIdle{.idle = 400ms};
    expectEnd({.stopReadingAfterBytes = 1000}, {}, timedOut, someBytes(20'000'000), shortIdle);
    expectEnd({.neverAnswer = true}, {}, timedOut, "", shortIdle);
    expectEnd({.readBytesPerSecond = 4'000'000}, 200, 0, someBytes(6'000'000), {.idle = 900ms});
    // Small enough to fit whole into the buffers on the way, where libcurl does not see it any more.
    expectEnd({.readBytesPerSecond = 1'000'000}, 200, 0, someBytes(3'000'000), {.idle = 1s});
    service.setHandshake(Handshake::hang);
    expectEnd({}, {}, timedOut, "", shortIdle);
}

TEST_F(UploadTaskTest, CountsNeitherARedirectNorAProxysConsentAsTheAnswer) {
    const QByteArray content = someBytes(6'000'000);
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    service.setBehaviour({.status = 307, .location = path}, 1);
    EXPECT_EQ(upload(content, shortAnswer).statusCode, 200);
    const test_support::ConnectProxy proxy;
    const ScopedEnvironment way("https_proxy", proxy.url());
    EXPECT_EQ(upload(content, shortAnswer).statusCode, 200);
    EXPECT_EQ(proxy.requests().size(), 1U);
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

TEST_F(UploadTaskTest, FollowsRedirectsToHttpsOnlyNotForEverAndWithTheBodyOnlyWhereTheMethodStays) {
    service.setBehaviour({.status = 307, .location = path}, 1);
    EXPECT_EQ(upload(someBytes(200'000)).statusCode, 200);
    service.setBehaviour({.status = 302, .location = "/elsewhere"}, 1);
    EXPECT_EQ(upload().statusCode, 404);
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[0].body->size(), requests[1].body->size());
    EXPECT_EQ(requests[3].method, "GET");
    expectEnd({.status = 307, .location = "http://" + service.host() + "/"}, 307,
              TransportErrorCode::unknown);
    expectEnd({.status = 307, .location = path}, 307, TransportErrorCode::unknown);
    // Without a location it is the answer.
    expectEnd({.status = 302}, 302, 0);
}

TEST_F(UploadTaskTest, IsCancelledPromptlyWithOneCall) {
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    start(someBytes(20'000'000));
    ASSERT_TRUE(service.waitForBodyBytes(1000, 10s));
    task->cancel();
    EXPECT_TRUE(soon([this] { return ending.wait_for(0s) == std::future_status::ready; }, 500ms));
    EXPECT_EQ(code(waitForEnd()), TransportErrorCode::cancelled);
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
    std::atomic<bool> isDestroyed = false;
    auto wasSoon =
        std::async(std::launch::async, [&] { return soon([&] { return isDestroyed.load(); }, 500ms); });
    task.reset();
    isDestroyed = true;
    EXPECT_TRUE(wasSoon.get());
    EXPECT_EQ(finishedCalls, 0);
    const UploadTask neverStarted(
        UploadRequest(), [](auto...) { FAIL(); }, [](const auto &) { FAIL(); });
}

} // namespace
