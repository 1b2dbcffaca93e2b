// How the service misbehaves, seen from the client; and that it ends at once whatever it is doing.
#include "SupportService.h"

#include "TestClient.h"

#include <curl/curl.h>
#include <future>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support_service::test {

using namespace std::chrono_literals;

namespace {

/// More than what the system's buffers between client and service hold.
const std::string &largeBody() {
    static const std::string body = uploadBody(someBytes(24 << 20));
    return body;
}

bool isBrokenConnection(int error) {
    return error == CURLE_SEND_ERROR || error == CURLE_RECV_ERROR;
}

} // namespace

TEST(SupportServiceFaults, WaitsBeforeTheAnswer) {
    SupportService service;
    service.setBehaviour({.waitBeforeAnswer = 400ms});
    const Answer answer = call(service, uploadBody("data"));
    EXPECT_EQ(answer.status, 200);
    EXPECT_GE(answer.took, 400ms);
    EXPECT_LT(answer.took, 5s);
}

TEST(SupportServiceFaults, NeverAnswers) {
    SupportService service;
    service.setBehaviour({.neverAnswer = true});
    const Answer answer = call(service, uploadBody("data"), {.timeout = 500ms});
    EXPECT_EQ(answer.error, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(service.receipts().at(0).complete);
}

TEST(SupportServiceFaults, ReadsSlowly) {
    SupportService service;
    service.setBehaviour({.readBytesPerSecond = 20'000});
    const Answer answer = call(service, uploadBody(someBytes(10'000)));
    EXPECT_EQ(answer.status, 200);
    EXPECT_GE(answer.took, 450ms);
    EXPECT_LT(answer.took, 5s);
    EXPECT_TRUE(service.receipts().at(0).complete);
}

TEST(SupportServiceFaults, StopsReading) {
    SupportService service;
    service.setBehaviour({.stopReadingAfterBytes = 100'000});
    const Answer answer = call(service, largeBody(), {.timeout = 1500ms});
    EXPECT_EQ(answer.error, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(service.waitForBodyBytes(100'000, 10s));
    EXPECT_EQ(service.bodyBytes(), 100'000U);
    EXPECT_LT(answer.sentBytes, largeBody().size());
    EXPECT_TRUE(service.receipts().empty());
}

TEST(SupportServiceFaults, ResetsInTheBody) {
    for (const std::uint64_t bytes : {0U, 1U, 1'000'000U}) {
        SupportService service;
        service.setBehaviour({.resetAfterBytes = bytes});
        const Answer answer = call(service, largeBody());
        EXPECT_TRUE(isBrokenConnection(answer.error)) << answer.error;
        EXPECT_EQ(answer.status, 0);
        EXPECT_LT(answer.took, 5s);
        EXPECT_EQ(service.bodyBytes(), bytes);
        ASSERT_TRUE(service.waitForReceipts(1, 5s));
        EXPECT_FALSE(service.receipts()[0].complete);
        EXPECT_FALSE(service.requests().at(0).arrivedWhole);
    }
}

TEST(SupportServiceFaults, TellsOfAnUploadThatBrokeOff) {
    SupportService service;
    service.setBehaviour({.readBytesPerSecond = 10'000'000});
    EXPECT_EQ(call(service, largeBody(), {.timeout = 500ms}).error, CURLE_OPERATION_TIMEDOUT);
    ASSERT_TRUE(service.waitForReceipts(1, 20s));
    EXPECT_EQ(service.receipts()[0].fileName, archiveName);
    EXPECT_FALSE(service.receipts()[0].complete);
    EXPECT_EQ(service.receipts()[0].problem, "the body broke off before its closing boundary");
    EXPECT_LT(service.receipts()[0].sizeBytes, 24U << 20);
}

TEST(SupportServiceFaults, BreaksTheAnswerOff) {
    SupportService service;
    const struct {
        AnswerEnding ending;
        int error;
        std::string body;
    } cases[] = {
        {AnswerEnding::resetAfterStatusLine, CURLE_RECV_ERROR, ""},
        {AnswerEnding::resetAfterHeaders, CURLE_RECV_ERROR, ""},
        {AnswerEnding::resetInBody, CURLE_RECV_ERROR, "half"},
        {AnswerEnding::closeInBody, CURLE_PARTIAL_FILE, "half"},
    };
    for (const auto &expected : cases) {
        service.setBehaviour({.status = 200, .body = "half-and", .ending = expected.ending});
        const Answer answer = call(service, uploadBody("data"));
        EXPECT_EQ(answer.error, expected.error) << static_cast<int>(expected.ending);
        EXPECT_EQ(answer.status, 200) << static_cast<int>(expected.ending);
        EXPECT_EQ(answer.body, expected.body) << static_cast<int>(expected.ending);
        EXPECT_LT(answer.took, 5s);
    }
}

TEST(SupportServiceFaults, HangsAfterTheHeaders) {
    SupportService service;
    service.setBehaviour({.ending = AnswerEnding::hangAfterHeaders});
    const Answer answer = call(service, uploadBody("data"), {.timeout = 500ms});
    EXPECT_EQ(answer.error, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "");
}

TEST(SupportServiceFaults, AnswersWithoutEnd) {
    SupportService service;
    service.setBehaviour({.ending = AnswerEnding::endlessBody});
    const Answer body = call(service, uploadBody("data"), {.answerLimitBytes = 20 << 20});
    EXPECT_EQ(body.error, CURLE_WRITE_ERROR);
    EXPECT_GT(body.body.size(), 19U << 20);

    service.setBehaviour({.ending = AnswerEnding::endlessHeaders});
    const Answer headers = call(service, uploadBody("data"), {.timeout = 10s});
    EXPECT_NE(headers.error, CURLE_OK);
    EXPECT_GT(headers.headers.size(), 100'000U);
}

TEST(SupportServiceFaults, TricklesWithoutEnd) {
    SupportService service;
    service.setBehaviour({.ending = AnswerEnding::trickle, .trickleInterval = 20ms});
    const Answer answer = call(service, uploadBody("data"), {.timeout = 1500ms});
    EXPECT_EQ(answer.error, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(answer.status, 200);
    EXPECT_GE(answer.body.size(), 3U);
    EXPECT_LE(answer.body.size(), 75U);
}

TEST(SupportServiceFaults, AnswersEarlyAndReadsOn) {
    SupportService service;
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenRead, .status = 413, .body = "Too large."});
    const Answer refused = call(service, largeBody());
    EXPECT_EQ(refused.status, 413);
    EXPECT_EQ(refused.body, "Too large.");
    EXPECT_LT(refused.sentBytes, largeBody().size());

    // A client that takes it for well goes on sending.
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenRead});
    const Answer accepted = call(service, largeBody());
    EXPECT_EQ(accepted.error, CURLE_OK);
    EXPECT_EQ(accepted.body, "Received.");
    ASSERT_TRUE(service.waitForReceipts(2, 5s));
    EXPECT_FALSE(service.receipts()[0].complete);
    EXPECT_TRUE(service.receipts()[1].complete);
}

TEST(SupportServiceFaults, AnswersEarlyAndCloses) {
    SupportService service;
    service.setBehaviour(
        {.answerTime = AnswerTime::beforeBodyThenClose, .status = 413, .body = "Too large."});
    const Answer answer = call(service, largeBody());
    EXPECT_LT(answer.sentBytes, largeBody().size());
    EXPECT_LT(answer.took, 5s);
    EXPECT_EQ(service.bodyBytes(), 0U);
    // What the client makes of it depends on what it notices first: the answer or the closed connection.
    EXPECT_TRUE(answer.status == 413 || isBrokenConnection(answer.error)) << answer.error;
}

TEST(SupportServiceFaults, OffersBadCertificates) {
    SupportService service;
    for (const auto kind : {CertificateKind::wrongHost, CertificateKind::expired,
                            CertificateKind::notYetValid, CertificateKind::untrusted}) {
        service.setCertificate(kind);
        const Answer answer = call(service, uploadBody("data"));
        EXPECT_EQ(answer.error, CURLE_PEER_FAILED_VERIFICATION) << static_cast<int>(kind);
    }
    EXPECT_TRUE(service.requests().empty());
    EXPECT_EQ(service.connections(), 4U);

    service.setCertificate(CertificateKind::good);
    EXPECT_EQ(call(service, uploadBody("data")).status, 200);
    EXPECT_EQ(call(service, uploadBody("data"), {.host = "127.0.0.1"}).status, 200);
}

TEST(SupportServiceFaults, RefusesTheHandshake) {
    SupportService service;
    service.setHandshake(Handshake::refuse);
    EXPECT_EQ(call(service, uploadBody("data")).error, CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(service.connections(), 1U);
    EXPECT_EQ(service.secureConnections(), 0U);
}

TEST(SupportServiceFaults, HangsInTheHandshake) {
    SupportService service;
    service.setHandshake(Handshake::hang);
    EXPECT_EQ(call(service, uploadBody("data"), {.timeout = 500ms}).error, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(service.secureConnections(), 0U);
}

TEST(SupportServiceFaults, EndsAtOnceWhateverItIsDoing) {
    const std::vector<Behaviour> behaviours = {
        {.readBytesPerSecond = 10},
        {.stopReadingAfterBytes = 1000},
        {.waitBeforeAnswer = 1h},
        {.neverAnswer = true},
        {.ending = AnswerEnding::hangAfterHeaders},
        {.ending = AnswerEnding::endlessBody},
        {.ending = AnswerEnding::trickle, .trickleInterval = 1h},
    };
    for (const Behaviour &behaviour : behaviours) {
        std::future<Answer> answer;
        std::chrono::steady_clock::time_point start;
        {
            SupportService service;
            service.setBehaviour(behaviour);
            // The client takes its time as well: it never stops of its own accord.
            answer = std::async(std::launch::async, [&] {
                return call(service, uploadBody(someBytes(100'000)), {.answerLimitBytes = 1U << 30});
            });
            ASSERT_TRUE(service.waitForBodyBytes(1, 10s));
            std::this_thread::sleep_for(100ms);
            start = std::chrono::steady_clock::now();
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
        EXPECT_NE(answer.get().error, CURLE_OK);
    }
}

TEST(SupportServiceFaults, EndsAtOnceWhenAClientSaysNothing) {
    int client = -1;
    std::chrono::steady_clock::time_point start;
    {
        SupportService service;
        client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(service.port()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ASSERT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        while (service.connections() == 0)
            std::this_thread::sleep_for(1ms);
        std::this_thread::sleep_for(50ms);
        start = std::chrono::steady_clock::now();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    close(client);
}

TEST(SupportServiceFaults, EndsAtOnceWhenAClientTakesNothing) {
    std::future<Answer> answer;
    std::chrono::steady_clock::time_point start;
    {
        SupportService service;
        service.setBehaviour({.ending = AnswerEnding::endlessBody});
        answer = std::async(std::launch::async, [&] {
            return call(service, uploadBody("data"), {.timeout = 3s, .pauseAnswer = true});
        });
        ASSERT_TRUE(service.waitForReceipts(1, 5s));
        // Long enough to fill what the system holds between the two.
        std::this_thread::sleep_for(500ms);
        start = std::chrono::steady_clock::now();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_NE(answer.get().error, CURLE_OK);
}

TEST(SupportServiceFaults, WaitsForWhatWillNotCome) {
    SupportService service;
    EXPECT_FALSE(service.waitForRequests(1, 10ms));
    EXPECT_FALSE(service.waitForReceipts(1, 10ms));
    EXPECT_FALSE(service.waitForBodyBytes(1, 10ms));
    call(service, uploadBody("data"));
    EXPECT_TRUE(service.waitForRequests(1, 10ms));
    EXPECT_TRUE(service.waitForReceipts(1, 10ms));
    EXPECT_TRUE(service.waitForBodyBytes(1, 10ms));
}

} // namespace support_service::test
