// How an upload ends: what the program logs, whether it keeps the archive, and that it ends. What each fault
// of the transport is called is tested with the upload itself; here it passes through the whole program.
#include "tests/SilentRun.h"

#include "test_support/Isolation.h"
#include "test_support/LoopbackListener.h"

#include <csignal>
#include <sys/socket.h>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

constexpr std::size_t mebibyte = 1 << 20;
const std::string place(SupportService::uploadPath);
const std::string lost = "The connection to the support server was lost.";
const std::string untrusted = "The support server's certificate is not trusted.";
const std::string notSecure = "A secure connection to the support server could not be made.";
const std::string noHost = "The support server's name could not be found.";
const std::string notConnected = "This computer is not connected to the internet.";
const std::string unknown = "An unknown error occurred while sending the logs.";

std::string statusLine(int status) {
    return "INFO: Status Code: " + std::to_string(status) + "\n";
}

std::string answered(int status, const std::string &data) {
    return statusLine(status) + "INFO: Response Data: " + data + "\n";
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

std::string brokenOff(int status, int code, const std::string &sentence) {
    return statusLine(status) + transportFailure(code, sentence);
}

// More than the buffers between the two programs hold.
const sample_product::SampleProductOptions largeProduct{.logBytes = 6'000'000, .incompressible = true};

class Upload : public SilentRun {
protected:
    void expectFailure(const ProgramOptions &options, int code, const std::string &sentence) const {
        run(options);
        EXPECT_EQ(uploadLog(), transportFailure(code, sentence));
        expectArchiveComplete();
        EXPECT_EQ(service.bodyBytes(), 0U);
    }
    void sendTo(const std::string &host) const { bundle.setText("LumamonSupportHost", host); }
    void sendTo(int port) const { sendTo("localhost:" + std::to_string(port)); }
    // The most memory that a run took.
    std::uint64_t peakMemoryBytes() const {
        // A build with the address sanitizer would hold on to what was given back.
        ProgramRun running(programWith("ASAN_OPTIONS", "quarantine_size_mb=1"));
        EXPECT_EQ(running.waitForEnd(), exited(0));
        return running.peakMemoryBytes();
    }
};

} // namespace

TEST_F(Upload, IsLoggedWithItsAnswerWhichDecidesWhetherTheArchiveStays) {
    const struct {
        const char *answer;
        Behaviour behaviour;
        std::string log;
        // With a redirect, also the requests that follow.
        std::size_t requests = 1;
    } cases[] = {
        {"success", {.body = "Danke schön: 42"}, sent("Danke schön: 42")},
        {"success without a body", {.body = ""}, sent("")},
        {"a mebibyte, all of which is logged",
         {.body = std::string(mebibyte, 'x')},
         sent(std::string(mebibyte, 'x'))},
        {"no content", {.status = 204, .body = ""}, refused(204, "")},
        {"not available", {.status = 503}, refused(503, "Received.")},
        {"server error", {.status = 500, .body = "Oh"}, serverError(500, "Oh")},
        {"reset after the status line",
         {.ending = AnswerEnding::resetAfterStatusLine},
         brokenOff(200, -1005, lost)},
        {"redirect in a circle", {.status = 307, .location = place}, brokenOff(307, -1, unknown), 21},
    };
    install();
    std::size_t requests = 0;
    for (const auto &[answer, behaviour, expected, count] : cases) {
        SCOPED_TRACE(answer);
        service.setBehaviour(behaviour);
        run();
        EXPECT_TRUE(uploadLog() == expected) << uploadLog().substr(0, 5000);
        EXPECT_EQ(service.requests().size(), requests += count);
        for (const Receipt &receipt : service.receipts())
            EXPECT_EQ(receipt.problem, "");
        if (expected.find("failed") != std::string::npos)
            expectArchiveKept();
        else
            EXPECT_FALSE(fs::exists(runFolder()));
    }
}

TEST_F(Upload, IsRepeatedWholeAtAnotherPlaceUnlessThatIsUnsafe) {
    install();
    service.setBehaviour(
        {.status = 307, .location = "https://127.0.0.1:" + std::to_string(service.port()) + place}, 1);
    runWell();
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].header("Content-Type"), requests[0].header("Content-Type"));
    EXPECT_TRUE(*requests[1].body == *requests[0].body);

    const LoopbackListener plain([](int) {});
    for (const int status : {302, 307}) {
        service.setBehaviour(
            {.status = status, .location = "http://localhost:" + std::to_string(plain.port()) + place});
        run();
        EXPECT_EQ(uploadLog(), brokenOff(status, -1, unknown));
        expectArchiveKept();
    }
    EXPECT_EQ(plain.connections(), 0U);
}

TEST_F(Upload, TakesLittleMemoryForAnswersWithoutEnd) {
    install();
    // What the kept mebibyte takes as bytes, as text and as a line of the log, four times over in a build
    // with the thread sanitizer. The service sends more than this in a second. With the address sanitizer the
    // headers take some 170 MiB.
#ifdef __SANITIZE_ADDRESS__
    constexpr std::uint64_t roomBytes = 256 * mebibyte;
#else
    constexpr std::uint64_t roomBytes = 64 * mebibyte;
#endif
    const std::uint64_t most = peakMemoryBytes() + roomBytes;
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
    install(largeProduct);
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenClose, .status = 413});
    run();
    EXPECT_EQ(uploadLog(), serverError(413, "Received."));
    expectArchiveComplete();
}

TEST_F(Upload, SendsNothingWithoutATrustedConnection) {
    install();
    service.setCertificate(CertificateKind::expired);
    expectFailure(program(), -1201, "The support server's certificate has expired.");
    service.setCertificate(CertificateKind::good);
    // The system's own certificates, and none at all.
    expectFailure(programWith("SSL_CERT_FILE", std::nullopt), -1202, untrusted);
    expectFailure(programWith("SSL_CERT_FILE", home.path() / "missing"), -1200, notSecure);
    const ConnectProxy refusingProxy(403);
    expectFailure(programWith("https_proxy", refusingProxy.url()), -1005, lost);

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
    EXPECT_EQ(service.requests().size(), 0U);
}

TEST_F(Upload, FailsWithoutANetworkARouteOrAName) {
    REQUIRE_OWN_NAMESPACES();
    if (!canEnter(enterNoNetwork) || !canEnter(enterLonelyNetwork))
        GTEST_SKIP() << "this machine gives a test no network of its own";
    install();
    // Names are asked for over the network alone, where nobody answers.
    writeFile(home.path() / "nsswitch.conf", "hosts: files dns\n");
    writeFile(home.path() / "resolv.conf", "nameserver 203.0.113.1\n");
    const Mount services = Mount::over(home.path() / "nsswitch.conf", "/etc/nsswitch.conf");
    const Mount servers = Mount::over(home.path() / "resolv.conf", "/etc/resolv.conf");
    const struct {
        void (*network)();
        std::string host;
        int code;
        std::string sentence;
    } cases[] = {
        {enterNoNetwork, "support.brennic.example", -1009, notConnected},
        {enterNoNetwork, "203.0.113.7", -1009, notConnected},
        {enterNoNetwork, service.host(), -1009, notConnected},
        {enterLonelyNetwork, "support.brennic.invalid", -1003, noHost},
        {enterLonelyNetwork, "203.0.113.7", -1009, notConnected},
    };
    for (const auto &[network, host, code, sentence] : cases) {
        auto options = program();
        options.beforeStart = network;
        sendTo(host);
        expectFailure(options, code, sentence);
    }
}

TEST_F(Upload, GoesThroughTheProxyOfTheEnvironmentUnlessThatExceptsTheHost) {
    install();
    const ConnectProxy proxy;
    auto options = programWith("https_proxy", proxy.url());
    runWell(options);
    EXPECT_EQ(proxy.requests(), std::vector<std::string>{"CONNECT " + service.host() + " HTTP/1.1"});
    options.variables.emplace_back("no_proxy", "example.org,localhost");
    runWell(options);
    EXPECT_EQ(proxy.requests().size(), 1U);
}

// The endpoint is sealed in the bundle; nothing that a user can set moves it.
TEST_F(Upload, GoesToTheServiceThatTheBundleNames) {
    install();
    auto options = programWith("LumamonSupportHost", "localhost:" + std::to_string(closedPort()));
    options.variables.emplace_back("LUMAMON_SUPPORT_HOST", "localhost:" + std::to_string(closedPort()));
    writeFile(home.path() / ".curlrc", "url = https://localhost:1/\nproxy = http://localhost:1\n");
    writeFile(home.path() / ".netrc", "machine localhost login user password secret\n");
    runWell(options);
    EXPECT_EQ(service.requests().at(0).header("Authorization"), "");
}

TEST_F(Upload, EndsAtOnceBySignalsAndKeepsTheArchive) {
    install(largeProduct);
    service.setBehaviour({.stopReadingAfterBytes = 500'000});
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGKILL}) {
        const std::uint64_t before = service.bodyBytes();
        ProgramRun running(program());
        ASSERT_TRUE(service.waitForBodyBytes(before + 400'000, std::chrono::seconds(10)));
        running.send(signal);
        EXPECT_EQ(running.waitForEnd(std::chrono::seconds(1)), killedBy(signal));
        expectArchiveComplete();
        EXPECT_EQ(running.standardError(), "");
    }
}
