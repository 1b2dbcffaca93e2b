// How an upload ends: what the program logs, whether it keeps the archive, and that it ends. What each fault
// of the transport is called is tested with the upload itself; here it passes through the whole program.
#include "tests/SilentRun.h"

#include <sys/socket.h>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

constexpr std::size_t answerBytes = 64 << 10;
constexpr char refused[] = "Could not connect to the support server.";
constexpr char notConnected[] = "This computer is not connected to the internet.";

std::string answered(int status, const std::string &data) {
    return "INFO: Status Code: " + std::to_string(status) + "\nINFO: Response Data: " + data + "\n";
}

std::string serverError(int status, const std::string &data) {
    return answered(status, data) +
           uploadErrors(1, "com.brennic.LumadocDiagnostics.upload", "Internal Server Error.");
}

using Upload = SilentRun;

} // namespace

TEST_F(Upload, IsLoggedWithItsAnswerWhichDecidesWhetherTheArchiveStays) {
    install();
    const std::string thanks = "Danke schön: " + std::string(answerBytes / 2, 'x');
    service.setBehaviour({.body = thanks});
    run();
    EXPECT_EQ(uploadLog(), answered(200, thanks) + sentWell.substr(sentWell.find("INFO: Directory deleted")));
    EXPECT_FALSE(fs::exists(runFolder()));
    const std::string lost = transportFailure(-1005, "The connection to the support server was lost.");
    for (const auto &[behaviour, expected] :
         {std::pair(Behaviour{.status = 500, .body = "Oh"}, serverError(500, "Oh")),
          {{.rawAnswer = "HTTP/1.1 200 OK\r\n"}, "INFO: Status Code: 200\n" + lost}}) {
        service.setBehaviour(behaviour);
        run();
        EXPECT_EQ(uploadLog(), expected);
        expectArchiveKept();
    }
    service.setHandshake(Handshake::expired);
    run();
    EXPECT_EQ(uploadLog(), transportFailure(-1201, "The support server's certificate has expired."));
    EXPECT_EQ(service.requests().size(), 3U);
}

TEST_F(Upload, FailsWithoutItsModuleAndTheArchiveStays) {
    install();
    fs::remove(bundle.path() / "Contents/PlugIns/libUpload.so");
    run();
    EXPECT_THAT(uploadLog(), testing::StartsWith("ERROR: The upload cannot be loaded: "));
    EXPECT_THAT(uploadLog(),
                testing::EndsWith(transportFailure(-1, "An unknown error occurred while sending the logs.")));
    expectArchiveComplete();
    EXPECT_FALSE(readFile(bundle.executable()).contains("libcurl.so")) << "it is in the module only";
}

TEST_F(Upload, TakesLittleMemoryForAnswersWithoutEnd) {
    install();
    // The service sends more than this in a second.
    constexpr std::uint64_t roomBytes = 32 << 20;
    const auto peakMemoryBytes = [this] {
        // A build with the address sanitizer would hold on to what was given back.
        ProgramRun running(programWith("ASAN_OPTIONS", "quarantine_size_mb=1"));
        EXPECT_EQ(running.waitForEnd(), exited(0));
        return running.peakMemoryBytes();
    };
    const std::uint64_t most = peakMemoryBytes() + roomBytes;
    service.setBehaviour({.rawAnswer = "HTTP/1.1 500 No\r\nContent-Length: 1000000000000\r\n\r\n",
                          .repeated = std::string(65'536, 'x')});
    EXPECT_LT(peakMemoryBytes(), most);
    EXPECT_TRUE(uploadLog() == serverError(500, std::string(answerBytes, 'x')));
    expectArchiveKept();
    service.setBehaviour(
        {.rawAnswer = "HTTP/1.1 200 OK\r\n", .repeated = "X: " + std::string(100, 'x') + "\r\n"});
    EXPECT_LT(peakMemoryBytes(), most);
    EXPECT_THAT(uploadLog(), testing::EndsWith("Silent Upload failed, app terminated--------------\n"));
    expectArchiveKept();
}

TEST_F(Upload, FailsWithoutANetworkARouteOrAName) {
    REQUIRE_OWN_NAMESPACES();
    if (!canEnter(enterNoNetwork) || !canEnter(enterLonelyNetwork))
        GTEST_SKIP() << "this machine gives a test no network of its own";
    install();
    // Names are asked for over the network alone, where nobody answers.
    writeFile(home.path() / "nsswitch.conf", "hosts: files dns\n");
    writeFile(home.path() / "resolv.conf", "nameserver 203.0.113.1\n");
    // One address that refuses and one without a route, both ways round.
    writeFile(home.path() / "hosts", "127.0.0.1 refuses4\n2001:db8::7 refuses4\n"
                                     "::1 refuses6\n203.0.113.7 refuses6\n");
    const Mount hosts = Mount::over(home.path() / "hosts", "/etc/hosts");
    const Mount services = Mount::over(home.path() / "nsswitch.conf", "/etc/nsswitch.conf");
    const Mount servers = Mount::over(home.path() / "resolv.conf", "/etc/resolv.conf");
    const std::tuple<void (*)(), const char *, int, const char *> cases[] = {
        {enterNoNetwork, "support.brennic.example", -1009, notConnected},
        {enterLonelyNetwork, "a.invalid", -1003, "The support server's name could not be found."},
        {enterLonelyNetwork, "203.0.113.7", -1009, notConnected},
        {enterLoopbackNetwork, "refuses4:1", -1004, refused},
        {enterLoopbackNetwork, "refuses6:1", -1004, refused},
    };
    for (const auto &[network, host, code, sentence] : cases) {
        auto options = program();
        options.beforeStart = network;
        bundle.setText("LumamonSupportHost", host);
        run(options);
        EXPECT_EQ(uploadLog(), transportFailure(code, sentence));
        expectArchiveComplete();
    }
}

TEST_F(Upload, TakesTheProxiesThatTheDesktopNamesInTurn) {
    install();
    std::string script =
        "function FindProxyForURL() { return 'PROXY 127.0.0.1:1; PROXY " + service.host() + "' }";
    const LoopbackListener scripts([&](int socket) {
        char request[4096];
        ::recv(socket, request, sizeof request, 0);
        const std::string answer =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(script.size()) + "\r\n\r\n" + script;
        ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    auto options = program();
    useDesktopProxies(options, scripts.port());
    runWell(options);
    EXPECT_EQ(service.tunnels(), 1U);
    options.variables.emplace_back("no_proxy", "localhost:" + std::to_string(service.port()));
    runWell(options);
    EXPECT_EQ(service.tunnels(), 1U);
    EXPECT_EQ(scripts.connections(), 1U);
}
