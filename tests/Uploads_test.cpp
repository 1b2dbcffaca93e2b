// How an upload ends: what the program logs, whether it keeps the archive, and that it ends.
#include "tests/SilentRun.h"

#include "test_support/Isolation.h"
#include "test_support/LoopbackListener.h"

#include <csignal>
#include <sys/socket.h>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;
using std::chrono::seconds;

namespace {

constexpr std::size_t mebibyte = 1 << 20;
const std::string place = "/cr-apip-7.0.0/mac/log";
const std::string lost = "The connection to the support server was lost.";
const std::string untrusted = "The support server's certificate is not trusted.";
const std::string notSecure = "A secure connection to the support server could not be made.";
const std::string notConnected = "This computer is not connected to the internet.";

std::string answered(int status, const std::string &data) {
    return "INFO: Status Code: " + std::to_string(status) + "\nINFO: Response Data: " + data + "\n";
}

std::string sent(const std::string &data) {
    return answered(200, data) + sentWell.substr(sentWell.find("INFO: Directory deleted"));
}

std::string refused(int status, const std::string &data) {
    return answered(status, data) + answerFailure(0, "Unknown error occurred.");
}

std::string serverError(int status, const std::string &data) {
    return answered(status, data) + answerFailure(1, "Internal Server Error.");
}

std::string brokenOff(int status, int code = -1005, const std::string &sentence = lost) {
    return "INFO: Status Code: " + std::to_string(status) + "\n" + transportFailure(code, sentence);
}

// More than the buffers between the two programs hold.
sample_product::SampleProductOptions largeProduct() {
    return {.logBytes = 6'000'000, .incompressible = true};
}

struct Case {
    std::string name;
    Behaviour behaviour;
    std::string log;
    // With a redirect, also of the requests that follow.
    std::size_t requests = 1;
};

void PrintTo(const Case &answer, std::ostream *out) {
    *out << answer.name;
}

class Answer : public SilentRun, public testing::WithParamInterface<Case> {};

class Upload : public SilentRun {
protected:
    void expectFailure(const ProgramOptions &options, int code, const std::string &sentence) const {
        EXPECT_EQ(run(options), exited(0));
        EXPECT_EQ(uploadLog(), transportFailure(code, sentence));
        expectArchiveComplete();
        EXPECT_EQ(service.bodyBytes(), 0U);
    }
    void sendTo(const std::string &host) const { bundle.setText("LumamonSupportHost", host); }
    void sendTo(int port) const { sendTo("localhost:" + std::to_string(port)); }
    ProgramOptions programWith(const char *variable, const std::optional<std::string> &value) const {
        auto options = program();
        options.variables.emplace_back(variable, value);
        return options;
    }
    // The most memory that a run took.
    std::uint64_t peakMemoryBytes() const {
        // A build with the address sanitizer would hold on to what was given back.
        ProgramRun running(programWith("ASAN_OPTIONS", "quarantine_size_mb=1"));
        EXPECT_EQ(running.waitForEnd(), exited(0));
        return running.peakMemoryBytes();
    }
};

class EndedFromOutside : public Upload, public testing::WithParamInterface<int> {};

} // namespace

TEST_P(Answer, IsLoggedAndDecidesWhatStays) {
    install();
    service.setBehaviour(GetParam().behaviour);
    EXPECT_EQ(run(), exited(0));
    EXPECT_TRUE(uploadLog() == GetParam().log) << uploadLog().substr(0, 5000);
    EXPECT_EQ(service.requests().size(), GetParam().requests);
    for (const Receipt &receipt : service.receipts())
        EXPECT_EQ(receipt.problem, "");
    if (GetParam().log.find("failed") != std::string::npos)
        expectArchiveKept();
    else
        EXPECT_FALSE(fs::exists(runFolder()));
}

INSTANTIATE_TEST_SUITE_P(
    Whole, Answer,
    testing::Values(
        Case{"Ok", {.body = "Danke schön: 42"}, sent("Danke schön: 42")},
        Case{"OkWithoutBody", {.body = ""}, sent("")},
        Case{"OkInOtherBytes", {.body = "\xff\xfe\x80"}, sent("")},
        Case{"OkAfterAWhile", {.waitBeforeAnswer = std::chrono::milliseconds(700)}, sent("Received.")},
        Case{"OkReadSlowly", {.readBytesPerSecond = 40'000}, sent("Received.")},
        Case{"OkBeforeTheBody", {.answerTime = AnswerTime::beforeBodyThenRead}, sent("Received.")},
        Case{"Mebibyte", {.body = std::string(mebibyte, 'x')}, sent(std::string(mebibyte, 'x'))},
        Case{"CutOff", {.body = std::string(3 * mebibyte, 'x')}, sent(std::string(mebibyte, 'x'))},
        Case{"NoContent", {.status = 204, .body = ""}, refused(204, "")},
        Case{"NotAvailable", {.status = 503}, refused(503, "Received.")},
        Case{"TooLarge", {.status = 413, .body = ""}, serverError(413, "")},
        Case{"ServerError", {.status = 500, .body = "Oh"}, serverError(500, "Oh")}),
    [](const auto &answer) { return answer.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Broken, Answer,
    testing::Values(
        Case{"AfterStatusLine", {.ending = AnswerEnding::resetAfterStatusLine}, brokenOff(200)},
        Case{"InBody",
             {.status = 500, .body = std::string(40'000, 'x'), .ending = AnswerEnding::resetInBody},
             brokenOff(500)},
        Case{"RedirectInACircle",
             {.status = 307, .location = place},
             brokenOff(307, -1, "An unknown error occurred while sending the logs."),
             21}),
    [](const auto &answer) { return answer.param.name; });

TEST_F(Upload, IsRepeatedWholeAtAnotherPlace) {
    install();
    const std::string elsewhere = "https://127.0.0.1:" + std::to_string(service.port());
    service.setBehaviour({.status = 307, .location = elsewhere + place}, 1);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), sent("Received."));
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].header("Content-Type"), requests[0].header("Content-Type"));
    EXPECT_TRUE(*requests[1].body == *requests[0].body);
}

TEST_F(Upload, IsNeverSentToAnUnsafePlace) {
    install();
    const LoopbackListener plain([](int) {});
    const std::string unsafe = "http://localhost:" + std::to_string(plain.port()) + place;
    for (const int status : {302, 307}) {
        service.setBehaviour({.status = status, .location = unsafe});
        EXPECT_EQ(run(), exited(0));
        EXPECT_EQ(uploadLog(), brokenOff(status, -1, "An unknown error occurred while sending the logs."));
        expectArchiveKept();
    }
    EXPECT_EQ(plain.connections(), 0U);
}

TEST_F(Upload, TakesLittleMemoryForAnswersWithoutEnd) {
    install();
    const std::uint64_t usual = peakMemoryBytes();
    // What the kept mebibyte takes as bytes, as text and as a line of the log, four times over in a build
    // with the thread sanitizer. The service sends more than this in a second.
    const std::uint64_t most = usual + 64 * mebibyte;
    service.setBehaviour({.status = 500, .ending = AnswerEnding::endlessBody});
    EXPECT_LT(peakMemoryBytes(), most);
    EXPECT_TRUE(uploadLog() == serverError(500, std::string(mebibyte, 'x')));
    expectArchiveKept();
    service.setBehaviour({.ending = AnswerEnding::endlessHeaders});
    EXPECT_LT(peakMemoryBytes(), most);
    EXPECT_THAT(uploadLog(), testing::EndsWith("Silent Upload failed, app terminated--------------\n"));
    expectArchiveKept();
}

// The service has decided before it has the archive, and hangs up.
TEST_F(Upload, EndsWithAnAnswerThatComesBeforeItsEnd) {
    install(largeProduct());
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenClose, .status = 413});
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), serverError(413, "Received."));
    expectArchiveComplete();
}

TEST_F(Upload, GoesOnlyWhereTheCertificateIsTrusted) {
    install();
    service.setCertificate(CertificateKind::expired);
    expectFailure(program(), -1201, "The support server's certificate has expired.");
    EXPECT_EQ(service.connections(), 1U);
    service.setCertificate(CertificateKind::good);
    // The system's own certificates, and none at all.
    expectFailure(programWith("SSL_CERT_FILE", std::nullopt), -1202, untrusted);
    expectFailure(programWith("SSL_CERT_FILE", home.path() / "missing"), -1200, notSecure);
    EXPECT_EQ(service.requests().size(), 0U);
}

TEST_F(Upload, FailsWhereNobodyAnswersOrSpeaksTls) {
    install();
    const LoopbackListener speaksPlainly([](int socket) {
        const std::string answer = "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n";
        char buffer[4096];
        ::recv(socket, buffer, sizeof buffer, 0);
        ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    const LoopbackListener hangsUp([](int) {});
    for (const LoopbackListener *listener : {&speaksPlainly, &hangsUp}) {
        sendTo(listener->port());
        expectFailure(program(), -1200, notSecure);
    }
    sendTo(closedPort());
    expectFailure(program(), -1004, "Could not connect to the support server.");
}

TEST_F(Upload, FailsWithoutANetwork) {
    install();
    if (!canEnter(enterNoNetwork))
        GTEST_SKIP() << "this machine gives a test no network of its own";
    auto options = program();
    options.beforeStart = enterNoNetwork;
    for (const std::string &host :
         {std::string("support.brennic.example"), std::string("203.0.113.7"), service.host()}) {
        sendTo(host);
        expectFailure(options, -1009, notConnected);
    }
}

TEST_F(Upload, FailsWithoutARouteOrAName) {
    REQUIRE_OWN_NAMESPACES();
    if (!canEnter(enterLonelyNetwork))
        GTEST_SKIP() << "this machine gives a test no network of its own";
    install();
    // Names are asked for over the network alone, where nobody answers.
    writeFile(home.path() / "nsswitch.conf", "hosts: files dns\n");
    writeFile(home.path() / "resolv.conf", "nameserver 203.0.113.1\n");
    const Mount services = Mount::over(home.path() / "nsswitch.conf", "/etc/nsswitch.conf");
    const Mount servers = Mount::over(home.path() / "resolv.conf", "/etc/resolv.conf");
    auto options = program();
    options.beforeStart = enterLonelyNetwork;
    sendTo("support.brennic.invalid");
    expectFailure(options, -1003, "The support server's name could not be found.");
    sendTo("203.0.113.7");
    expectFailure(options, -1009, notConnected);
}

TEST_F(Upload, GoesThroughTheProxyOfTheEnvironment) {
    install();
    const ConnectProxy proxy;
    auto options = programWith("https_proxy", proxy.url());
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(proxy.requests(), std::vector<std::string>{"CONNECT " + service.host() + " HTTP/1.1"});

    options.variables.emplace_back("no_proxy", "example.org,localhost");
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(proxy.requests().size(), 1U);
    EXPECT_EQ(service.receipts().size(), 2U);
}

TEST_F(Upload, FailsWhereTheProxyRefuses) {
    install();
    const ConnectProxy proxy(403);
    expectFailure(programWith("https_proxy", proxy.url()), -1005, lost);
    EXPECT_EQ(service.connections(), 0U);
}

// The endpoint is sealed in the bundle; nothing that a user can set moves it.
TEST_F(Upload, GoesToTheServiceThatTheBundleNames) {
    install();
    auto options = programWith("LumamonSupportHost", "localhost:" + std::to_string(closedPort()));
    options.variables.emplace_back("LUMAMON_SUPPORT_HOST", "localhost:" + std::to_string(closedPort()));
    writeFile(home.path() / ".curlrc", "url = https://localhost:1/\nproxy = http://localhost:1\n");
    writeFile(home.path() / ".netrc", "machine localhost login user password secret\n");
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(service.requests().at(0).header("Authorization"), "");
}

TEST_P(EndedFromOutside, EndsAtOnceAndKeepsTheArchive) {
    install(largeProduct());
    service.setBehaviour({.stopReadingAfterBytes = 500'000});
    ProgramRun running(program());
    ASSERT_TRUE(service.waitForBodyBytes(400'000, seconds(10)));
    running.send(GetParam());
    EXPECT_EQ(running.waitForEnd(seconds(1)), killedBy(GetParam()));
    expectArchiveComplete();
    EXPECT_EQ(running.standardError(), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndedFromOutside, testing::Values(SIGTERM, SIGINT, SIGHUP, SIGKILL));
