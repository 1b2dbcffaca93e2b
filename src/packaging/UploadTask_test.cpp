#include "packaging/UploadTask.h"

#include "test_support/Isolation.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ProgramRun.h"
#include "test_support/UploadFixture.h"

#include <atomic>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using test_support::LoopbackListener;
using test_support::ScopedEnvironment;
using test_support::soon;
using UploadTaskTest = UploadFixture;

TEST_F(UploadTaskTest, FailsWhereNoThreadCanBeHad) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer needs a thread";
#endif
    if (!test_support::canEnter(test_support::enterNoThreads))
        GTEST_SKIP() << "this user cannot run programs as somebody else";
    test_support::giveToUserWithoutThreads(home.path());
    EXPECT_EQ(test_support::statusInChild([this] {
                  test_support::enterNoThreads();
                  return code(upload()) == TransportErrorCode::unknown ? 0 : 1;
              }),
              0);
}

TEST_F(UploadTaskTest, SendsTheBodyByteForByteAndNoOtherHeaderThanTheType) {
    // Of a size at which clients like to ask first whether they may send; nothing.
    for (const QByteArray &content : {someBytes(1'300'001), QByteArray()}) {
        const UploadResponse response = upload(content);
        EXPECT_EQ(response.statusCode, 200);
        EXPECT_EQ(response.data, "Received.");
        EXPECT_FALSE(response.error);
        expectReceived(service.receipts().back(), content);
        const auto request = service.requests().back();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.target, path);
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
    for (const auto &[bytes, sentInAll, expected] : progress) {
        EXPECT_EQ(sentInAll, sent += bytes);
        EXPECT_EQ(expected, progress.front()[2]);
    }
    EXPECT_EQ(sent, progress.front()[2]);
}

TEST_F(UploadTaskTest, ReportsNothingAsSentThatOnlyWaitsInTheSystem) {
    service.setBehaviour({.stopReadingAfterBytes = 100'000});
    start(someBytes(1'000'000));
    ASSERT_TRUE(service.waitForBodyBytes(100'000, 10s));
    std::this_thread::sleep_for(300ms);
    task.reset();
    // What the service's own system has taken besides.
    EXPECT_LT(progress.back()[1], 600'000);
}

TEST_F(UploadTaskTest, EndsAsTheServiceMakesIt) {
    using namespace TransportErrorCode;
    const QByteArray large = someBytes(4'000'000);
    const std::string body(1000, 'x');
    const std::string endlessHead = "HTTP/1.1 200 OK\r\nContent-Length: 1000000000000\r\n\r\n";
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n";
    expectEnd({.resetAfterBytes = 100'000}, {}, connectionLost, large);
    EXPECT_EQ(service.receipts().back().problem, "the body broke off before its closing boundary");
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\n"}, 200, connectionLost);
    expectEnd({.rawAnswer = head + std::string(500, 'x')}, 200, connectionLost);
    expectEnd({.answersBeforeBody = true, .status = 413, .body = "big"}, 413, 0, large);
    EXPECT_EQ(answer, "big");
    expectEnd({.rawAnswer = endlessHead, .repeated = std::string(65'536, 'x')}, 200, 0, "",
              {.answerBytes = 100'000});
    EXPECT_EQ(answer.size(), 100'000) << "as much as the limit lets through";
    expectEnd({.rawAnswer = endlessHead, .repeated = "x", .repeatInterval = 20ms}, 200, timedOut, "",
              shortAnswer);
    // Headers, and a single one, without end.
    for (const std::string &piece : {"X-Endless: " + body + "\r\n", "X-Endless" + body}) {
        expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\n", .repeated = piece}, 200, unknown, "");
        EXPECT_EQ(sentence, QString::fromLatin1(headTooLarge));
    }
    // A character that would be cut is left out.
    expectEnd({.body = "a" + std::string("\u00e4\u20ac\U0001f600") + "b"}, 200, 0, "", {.answerBytes = 9});
    EXPECT_EQ(answer, "a\u00e4\u20ac");
    EXPECT_EQ(UploadLimits().answerBytes, 65'536);

    const UploadLimits shortIdle{.idle = 400ms};
    // Before the body, whose archive a busy machine takes long to store.
    expectEnd({.answersBeforeBody = true, .rawAnswer = head, .repeated = "x", .repeatInterval = forEver}, 200,
              timedOut, "", shortIdle);
    expectEnd({.stopReadingAfterBytes = 1000}, {}, timedOut, someBytes(20'000'000), shortIdle);
    expectEnd({.neverAnswer = true}, {}, timedOut, "", shortIdle);
    // Slower than that in all. What is idle is also the service while it stores the archive.
    expectEnd({.readBytesPerSecond = 2'000'000}, 200, 0, someBytes(6'000'000), {.idle = 2s});
    // Small enough to fit whole into the buffers on the way, where libcurl does not see it any more.
    expectEnd({.readBytesPerSecond = 50'000}, 200, 0, someBytes(150'000), {.idle = 1500ms});
    service.setHandshake(Handshake::unanswered);
    expectEnd({}, {}, timedOut, "", {.connect = 400ms});
}

TEST_F(UploadTaskTest, CountsNeitherARedirectNorAProxysConsentAsTheAnswer) {
    const QByteArray content = someBytes(6'000'000);
    service.setBehaviour({.readBytesPerSecond = 4'000'000});
    service.setBehaviour({.status = 307, .location = path}, 1);
    EXPECT_EQ(upload(content, shortAnswer).statusCode, 200);
    const ScopedEnvironment way("https_proxy", "http://127.0.0.1:" + std::to_string(service.port()));
    EXPECT_EQ(upload(content, shortAnswer).statusCode, 200);
    EXPECT_EQ(service.tunnels(), 1U);
    const ScopedEnvironment exception("no_proxy", "example.org,localhost");
    EXPECT_EQ(upload().statusCode, 200);
    EXPECT_EQ(service.tunnels(), 1U);
}

TEST_F(UploadTaskTest, BelievesA200OnlyAfterTheWholeBodyAndWithItsWholeHead) {
    using namespace TransportErrorCode;
    expectEnd({.answersBeforeBody = true}, 200, connectionLost, someBytes(8'000'000));
    // The system would take all of it.
    expectEnd({.stopReadingAfterBytes = 0, .answersBeforeBody = true}, 200, timedOut, someBytes(1'000'000),
              {.idle = 1s});
    for (const char *head : {"HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n"})
        expectEnd({.rawAnswer = head, .closesInOrder = true}, 200, connectionLost);
    for (const char *none : {"HTTP/x\r\n\r\n", "HTTP/-1.1 404 Not Found\r\n\r\n", "HTTP/ 1.1 200 OK\r\n\r\n",
                             "HTTP/1.1 102 P\r\n\r\nhttp/1.1 404 Not Found\r\n\r\n"})
        expectEnd({.rawAnswer = none, .closesInOrder = true}, {}, connectionLost);
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\n\r\n", .closesInOrder = true}, 200, 0);
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nX-Sum: 1\r\n\r\n",
               .closesInOrder = true},
              200, 0);
}

TEST_F(UploadTaskTest, LetsInterimAnswersChangeNoClock) {
    const std::string interim = "HTTP/1.1 102 Processing\r\nX-State: busy\r\n\r\n";
    expectEnd({.rawAnswer = "", .repeated = interim, .repeatInterval = 20ms}, {},
              TransportErrorCode::timedOut, "", {.idle = 400ms});
    // The answer comes later than an answer may take.
    expectEnd({.rawAnswer = interim,
               .repeated = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
               .repeatInterval = 900ms},
              200, 0, "", shortAnswer);
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
    ASSERT_TRUE(service.waitForBodyBytes(1, 10s));
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
