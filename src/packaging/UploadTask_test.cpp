#include "packaging/UploadTask.h"

#include "packaging/UploadAPI.h"
#include "platform/posix/FileSystem.h"
#include "support_service/SupportService.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <sys/socket.h>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using test_support::LoopbackListener;
using test_support::ScopedEnvironment;
using test_support::soon;

class UploadTaskTest : public testing::Test {
protected:
    void start(const QByteArray &content, UploadLimits limits = {}, const std::string &host = {}) {
        const auto file = home.path() / "archive.zip";
        test_support::writeFile(file, content);
        UploadRequest request = UploadAPI::multipartRequest("a b.zip");
        std::error_code error;
        request.archive = platform::openRegularFile(file, request.archiveBytes, error);
        request.url = QByteArray::fromStdString("https://" + (host.empty() ? service.host() : host) + path);
        finished = {};
        ending = finished.get_future();
        finishedCalls = 0;
        task = std::make_unique<UploadTask>(
            std::move(request), [this](auto... report) { progress.push_back({report...}); },
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
        // A redirect that is not followed has both.
        EXPECT_EQ(response.data.has_value(), error == 0 || status == 307 || status == 308);
        answer = response.data.value_or(QByteArray());
        sentence = response.error ? response.error->userInfoDescription : QString();
    }
    static void expectReceived(const Receipt &receipt, const QByteArray &content) {
        EXPECT_EQ(receipt.problem, "") << "in the form around the archive";
        EXPECT_EQ(receipt.fileName, "a b.zip");
        EXPECT_TRUE(test_support::readFile(receipt.archive) == content);
    }
    static int code(const UploadResponse &response) { return response.error ? response.error->code : 0; }

    const std::string path = "/cr-apip-7.0.0/mac/log";
    const UploadLimits shortAnswer{.idle = 10s, .answer = 500ms};
    QByteArray answer;
    QString sentence;
    test_support::ScratchHome home;
    SupportService service;
    // The bytes sent since the last report, sent in all, and expected.
    std::vector<std::array<std::int64_t, 3>> progress;
    std::promise<UploadResponse> finished;
    std::future<UploadResponse> ending;
    int finishedCalls = 0;
    std::unique_ptr<UploadTask> task;

private:
    ScopedEnvironment m_trust{"SSL_CERT_FILE", service.certificateFile().native()};
};

// For what depends on which of two sides is faster.
int runsOfRaces() {
    const char *const runs = std::getenv("LUMAMON_RACES");
    return runs == nullptr ? 5 : std::atoi(runs);
}

void answerPlainly(int socket, const std::string &status) {
    char buffer[4096];
    ::recv(socket, buffer, sizeof buffer, 0);
    const std::string answer = "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\n\r\n";
    ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
}

QByteArray someBytes(qsizetype count) {
    QByteArray bytes(count, Qt::Uninitialized);
    for (qsizetype i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i * 7 + (i >> 8));
    return bytes;
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
    expectEnd({.rawAnswer = head, .repeated = "x", .repeatInterval = forEver}, 200, timedOut, "", shortIdle);
    expectEnd({.stopReadingAfterBytes = 1000}, {}, timedOut, someBytes(20'000'000), shortIdle);
    expectEnd({.neverAnswer = true}, {}, timedOut, "", shortIdle);
    expectEnd({.readBytesPerSecond = 4'000'000}, 200, 0, someBytes(6'000'000), {.idle = 900ms});
    // Small enough to fit whole into the buffers on the way, where libcurl does not see it any more.
    expectEnd({.readBytesPerSecond = 1'000'000}, 200, 0, someBytes(3'000'000), {.idle = 1s});
    service.setHandshake(Handshake::unanswered);
    expectEnd({}, {}, timedOut, "", shortIdle);
}

TEST_F(UploadTaskTest, TakesASlowAnswerForAMovingOneEvenWithinALine) {
    const auto began = std::chrono::steady_clock::now();
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\nX-Slow: ", .repeated = "x", .repeatInterval = 50ms}, 200,
              TransportErrorCode::timedOut, "", {.idle = 1s, .answer = 2500ms});
    EXPECT_GE(std::chrono::steady_clock::now() - began, 2500ms);
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

TEST_F(UploadTaskTest, SendsNothingWithoutAConnectionThatItTrusts) {
    using namespace TransportErrorCode;
    const std::pair<Handshake, int> handshakes[] = {{Handshake::wrongHost, certificateUntrusted},
                                                    {Handshake::untrusted, certificateUntrusted},
                                                    {Handshake::expired, certificateExpired},
                                                    {Handshake::refused, secureConnectionFailed}};
    for (const auto &[handshake, expected] : handshakes) {
        service.setHandshake(handshake);
        EXPECT_EQ(code(upload()), expected);
    }
    service.setHandshake(Handshake::good);
    const LoopbackListener speaksPlainly([](int socket) { answerPlainly(socket, "403 Forbidden"); });
    const LoopbackListener hangsUp([](int) {});
    for (const char *name : {"SSL_CERT_FILE", "SSL_CERT_DIR"}) {
        // The system's own certificates, and none.
        for (const auto &value : {std::optional<std::string>(), {home.path() / "missing"}}) {
            const ScopedEnvironment file("SSL_CERT_FILE", std::nullopt);
            const ScopedEnvironment variable(name, value);
            EXPECT_EQ(code(upload()), certificateUntrusted);
        }
    }
    EXPECT_TRUE(service.requests().empty());
    const std::pair<int, int> ports[] = {{speaksPlainly.port(), secureConnectionFailed},
                                         {hangsUp.port(), secureConnectionFailed},
                                         {1, cannotConnectToHost}};
    for (const auto &[port, expected] : ports) {
        start("content", {}, "localhost:" + std::to_string(port));
        EXPECT_EQ(code(waitForEnd()), expected);
    }
}

TEST_F(UploadTaskTest, TakesCertificatesFromTheFilesThatOpensslWouldTakeThemFrom) {
    const QByteArray certificates = test_support::readFile(service.certificateFile());
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new_mem_buf(certificates.data(), -1), BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> first(
        PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr), X509_free);
    const auto name =
        QByteArray::number(
            qulonglong(X509_NAME_hash_ex(X509_get_subject_name(first.get()), nullptr, nullptr, nullptr)), 16)
            .rightJustified(8, '0');
    test_support::writeFile(home.path() / "hashed" / (name.toStdString() + ".0"), certificates);
    const std::string hashed = home.path() / "hashed";
    const std::string file = service.certificateFile();
    const std::string missing = home.path() / "missing";
    for (const auto &[certificateFile, folder] :
         {std::pair(file, std::string()), {"", hashed}, {missing, missing + ":" + hashed}, {file, missing}}) {
        const ScopedEnvironment variable("SSL_CERT_FILE", certificateFile);
        const ScopedEnvironment folders("SSL_CERT_DIR", folder);
        EXPECT_EQ(upload().statusCode, 200) << certificateFile << ' ' << folder;
    }
}

TEST_F(UploadTaskTest, SaysThatItWasTheProxy) {
    using namespace TransportErrorCode;
    const auto expect = [this](const std::string &proxy, const QString &domain, int expected,
                               const char *text) {
        const ScopedEnvironment way("https_proxy", proxy);
        const UploadResponse response = upload();
        EXPECT_FALSE(response.statusCode);
        EXPECT_EQ(response.error, (UploadError{domain, expected, QString::fromLatin1(text)})) << proxy;
    };
    constexpr char refusal[] = "The proxy server refused to connect to the support server.";
    for (const char *status : {"401 No", "403 No", "407 No", "502 No", "503 No"}) {
        const LoopbackListener refuses([&](int socket) { answerPlainly(socket, status); });
        expect("http://127.0.0.1:" + std::to_string(refuses.port()), ProxyErrorDomain, 310, refusal);
    }
    const LoopbackListener hangsUp([](int) {});
    expect("localhost:" + std::to_string(hangsUp.port()), TransportErrorDomain, connectionLost,
           "The connection to the proxy server was lost.");
    expect("http://localhost:1", TransportErrorDomain, cannotConnectToHost,
           "Could not connect to the proxy server.");
    // The same certificates are trusted for the proxy.
    const Certificates certificates;
    test_support::writeFile(home.path() / "proxy.pem", QByteArray::fromStdString(certificates.trusted()));
    const ScopedEnvironment trust("SSL_CERT_FILE", home.path() / "proxy.pem");
    for (const auto &[handshake, domain, expected, text] :
         {std::tuple(Handshake::good, ProxyErrorDomain, 310, refusal),
          {Handshake::wrongHost, TransportErrorDomain, certificateUntrusted,
           "The proxy server's certificate is not trusted."},
          {Handshake::expired, TransportErrorDomain, certificateExpired,
           "The proxy server's certificate has expired."}}) {
        const LoopbackListener secure([&](int socket) {
            TlsConnection connection(socket, certificates.serverContext(handshake).get());
            for (auto line = connection.readLine(); line && !line->empty(); line = connection.readLine()) {
            }
            connection.send("HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n");
        });
        expect("https://localhost:" + std::to_string(secure.port()), domain, expected, text);
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(UploadTaskTest, FollowsOnlyRedirectsThatKeepTheMethodToHttpsOnTheSameHost) {
    for (const int status : {307, 308}) {
        service.setBehaviour({.status = status, .location = "https://" + service.host() + path}, 1);
        EXPECT_EQ(upload(someBytes(200'000)).statusCode, 200);
    }
    ASSERT_EQ(service.receipts().size(), 4U);
    for (const Receipt &receipt : service.receipts())
        expectReceived(receipt, someBytes(200'000));
    const std::string port = std::to_string(service.port());
    const std::tuple<int, std::optional<std::string>, const char *> answers[] = {
        {301, path, ""},
        {302, "/elsewhere", ""},
        {303, path, ""},
        {302, std::nullopt, ""},
        {307, std::nullopt, ""},
        {307, "https://127.0.0.1:" + port + path, redirectRefused},
        {308, "http://localhost:" + port + path, redirectRefused}};
    for (const auto &[status, location, text] : answers) {
        const auto before = service.requests().size();
        expectEnd({.status = status, .body = "moved", .location = location}, status, *text == '\0' ? 0 : -1);
        EXPECT_EQ(answer, "moved");
        EXPECT_EQ(sentence, QString::fromLatin1(text));
        EXPECT_EQ(service.requests().size(), before + 1);
    }
    expectEnd({.status = 307, .body = "on", .location = path}, 307, -1);
    EXPECT_EQ(answer, "on");
    EXPECT_EQ(sentence, QString::fromLatin1(tooManyRedirects));
}

TEST_F(UploadTaskTest, BelievesA200OnlyAfterTheWholeBodyAndWithItsWholeHead) {
    using namespace TransportErrorCode;
    expectEnd({.answersBeforeBody = true}, 200, connectionLost, someBytes(8'000'000));
    // The system would take all of it.
    expectEnd({.stopReadingAfterBytes = 0, .answersBeforeBody = true}, 200, timedOut, someBytes(1'000'000),
              {.idle = 1s});
    for (const char *head : {"HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n"})
        expectEnd({.rawAnswer = head, .closesInOrder = true}, 200, connectionLost);
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\n\r\n", .closesInOrder = true}, 200, 0);
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nX-Sum: 1\r\n\r\n",
               .closesInOrder = true},
              200, 0);
}

TEST_F(UploadTaskTest, ReadsAnAnswerThatCameBeforeTheConnectionWasResetInTheMiddleOfTheBody) {
    const QByteArray large = someBytes(4'000'000);
    for (const int status : {408, 413, 500, 503}) {
        for (int run = 0; run < runsOfRaces(); ++run)
            expectEnd({.answersBeforeBody = true, .leavesBodyUnread = true, .status = status, .body = "no"},
                      status, 0, large);
        EXPECT_EQ(answer, "no");
    }
    // Before the service has read anything of the request.
    const Certificates certificates;
    test_support::writeFile(home.path() / "authority.pem", QByteArray::fromStdString(certificates.trusted()));
    const ScopedEnvironment trust("SSL_CERT_FILE", home.path() / "authority.pem");
    const LoopbackListener impatient([&](int socket) {
        TlsConnection connection(socket, certificates.serverContext(Handshake::good).get());
        connection.send("HTTP/1.1 408 Too slow\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno");
    });
    for (int run = 0; run < runsOfRaces(); ++run) {
        start(large, {}, "localhost:" + std::to_string(impatient.port()));
        const UploadResponse response = waitForEnd();
        EXPECT_EQ(code(response), 0);
        EXPECT_EQ(response.statusCode, 408);
        EXPECT_EQ(response.data, "no");
    }
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
