// Uploads that fail on their way to the service, or are ended from outside.
#include "tests/SilentRun.h"

#include "test_support/LoopbackListener.h"
#include "test_support/Networks.h"

#include <csignal>
#include <sys/socket.h>

using namespace support_service;
using namespace test_support;

namespace {

class Transport : public SilentRun {
protected:
    // More than the buffers between the two programs hold.
    static sample_product::SampleProductOptions largeProduct() {
        return {.logBytes = 6'000'000, .incompressible = true};
    }

    void expectFailure(int code, const std::string &sentence) const {
        EXPECT_EQ(uploadLog(), transportFailure(code, sentence));
        EXPECT_EQ(readArchive(archive()).count("Lumadoc/DetailedInfo.json"), 1U);
        EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    }
};

struct Certificate {
    std::string name;
    CertificateKind kind;
    int code;
    std::string sentence;
};

void PrintTo(const Certificate &certificate, std::ostream *out) {
    *out << certificate.name;
}

class BadCertificate : public Transport, public testing::WithParamInterface<Certificate> {};

class EndedFromOutside : public Transport, public testing::WithParamInterface<int> {};

const std::string lost = "The connection to the support server was lost.";
const std::string untrusted = "The support server's certificate is not trusted.";
const std::string notSecure = "A secure connection to the support server could not be made.";

} // namespace

TEST_P(BadCertificate, GetsNothing) {
    install();
    service.setCertificate(GetParam().kind);
    EXPECT_EQ(run(), exited(0));
    expectFailure(GetParam().code, GetParam().sentence);
    EXPECT_EQ(service.connections(), 1U);
    EXPECT_EQ(service.requests().size(), 0U);
    EXPECT_EQ(service.bodyBytes(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BadCertificate,
    testing::Values(Certificate{"WrongHost", CertificateKind::wrongHost, -1202, untrusted},
                    Certificate{"Expired", CertificateKind::expired, -1201,
                                "The support server's certificate has expired."},
                    Certificate{"NotYetValid", CertificateKind::notYetValid, -1204,
                                "The support server's certificate is not valid yet."},
                    Certificate{"Untrusted", CertificateKind::untrusted, -1202, untrusted}),
    [](const auto &certificate) { return certificate.param.name; });

TEST_F(Transport, TrustsTheSystemWhenNothingElseIsSaid) {
    install();
    auto options = program();
    options.variables[0].second = std::nullopt;
    ASSERT_EQ(options.variables[0].first, "SSL_CERT_FILE");
    EXPECT_EQ(run(options), exited(0));
    expectFailure(-1202, untrusted);
    EXPECT_EQ(service.requests().size(), 0U);
}

TEST_F(Transport, SendsNothingWhenItKnowsNoCertificates) {
    install();
    auto options = program();
    options.variables[0].second = (home.path() / "no such file").native();
    EXPECT_EQ(run(options), exited(0));
    expectFailure(-1200, notSecure);
    EXPECT_EQ(service.requests().size(), 0U);
}

TEST_F(Transport, RefusedHandshake) {
    install();
    service.setHandshake(Handshake::refuse);
    EXPECT_EQ(run(), exited(0));
    expectFailure(-1200, notSecure);
}

TEST_F(Transport, ServerThatSpeaksNoTls) {
    install();
    const LoopbackListener plain([](int socket) {
        const std::string answer = "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n";
        char buffer[4096];
        ::recv(socket, buffer, sizeof buffer, 0);
        ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    bundle.setText("LumamonSupportHost", "localhost:" + std::to_string(plain.port()));
    EXPECT_EQ(run(), exited(0));
    expectFailure(-1200, notSecure);
}

TEST_F(Transport, ServerThatHangsUpAtOnce) {
    install();
    const LoopbackListener plain([](int) {});
    bundle.setText("LumamonSupportHost", "localhost:" + std::to_string(plain.port()));
    EXPECT_EQ(run(), exited(0));
    expectFailure(-1200, notSecure);
}

TEST_F(Transport, NobodyListens) {
    install();
    bundle.setText("LumamonSupportHost", "localhost:" + std::to_string(closedPort()));
    EXPECT_EQ(run(), exited(0));
    expectFailure(-1004, "Could not connect to the support server.");
}

TEST_F(Transport, ResetInMidBody) {
    install(largeProduct());
    service.setBehaviour({.resetAfterBytes = 1'000'000});
    EXPECT_EQ(run(), exited(0));
    expectFailure(-1005, lost);
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_FALSE(service.receipts()[0].complete);
}

TEST_F(Transport, NoNetwork) {
    install();
    auto options = program();
    options.beforeStart = enterNoNetwork;
    if (!canEnter(enterNoNetwork))
        GTEST_SKIP() << "this machine gives a test no network of its own";
    for (const std::string &host :
         {std::string("support.brennic.example"), std::string("203.0.113.7"), service.host()}) {
        bundle.setText("LumamonSupportHost", host);
        EXPECT_EQ(run(options), exited(0));
        expectFailure(-1009, "This computer is not connected to the internet.");
    }
}

TEST_F(Transport, NoRouteAndNoSuchHost) {
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

    bundle.setText("LumamonSupportHost", "support.brennic.invalid");
    EXPECT_EQ(run(options), exited(0));
    expectFailure(-1003, "The support server's name could not be found.");

    bundle.setText("LumamonSupportHost", "203.0.113.7");
    EXPECT_EQ(run(options), exited(0));
    expectFailure(-1009, "This computer is not connected to the internet.");
}

TEST_F(Transport, GoesThroughTheProxyOfTheEnvironment) {
    install();
    const ConnectProxy proxy;
    auto options = program();
    options.variables[1].second = proxy.url();
    ASSERT_EQ(options.variables[1].first, "https_proxy");
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(proxy.requests(), std::vector<std::string>{"CONNECT " + service.host() + " HTTP/1.1"});

    options.variables.emplace_back("no_proxy", "example.org,localhost");
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(proxy.requests().size(), 1U);
    EXPECT_EQ(service.receipts().size(), 2U);
}

TEST_F(Transport, ProxyThatRefuses) {
    install();
    const ConnectProxy proxy(403);
    auto options = program();
    options.variables[1].second = proxy.url();
    EXPECT_EQ(run(options), exited(0));
    expectFailure(-1005, lost);
    EXPECT_EQ(service.connections(), 0U);
}

// The endpoint is sealed in the bundle; nothing that a user can set moves it.
TEST_F(Transport, OnlyTheBundleNamesTheService) {
    install();
    auto options = program();
    options.variables.emplace_back("LumamonSupportHost", "localhost:" + std::to_string(closedPort()));
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
    const auto running = start();
    ASSERT_TRUE(service.waitForBodyBytes(400'000, std::chrono::seconds(10)));
    running->send(GetParam());
    EXPECT_EQ(running->waitForEnd(std::chrono::seconds(1)), killedBy(GetParam()));
    EXPECT_EQ(readArchive(archive()).count("Lumadoc/DetailedInfo.json"), 1U);
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    EXPECT_EQ(running->standardError(), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndedFromOutside, testing::Values(SIGTERM, SIGINT, SIGHUP, SIGKILL));
