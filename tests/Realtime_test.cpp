// The program's time limits, waited for in full.
#include "tests/SilentRun.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace test_support;
using std::chrono::seconds;

namespace {

class Realtime : public SilentRun {
protected:
    static void expectEndAfter(ProgramRun &running, seconds least, int end) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(running.waitForEnd(least + seconds(16)), end);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, least);
        EXPECT_EQ(running.standardOutput() + running.standardError(), "");
    }

    // An upload to a service that behaves like this times out, after this line.
    void expectTimeout(const support_service::Behaviour &behaviour, const std::string &line, seconds least) {
        install();
        service.setBehaviour(behaviour);
        ProgramRun running(program());
        expectEndAfter(running, least, exited(0));
        EXPECT_EQ(uploadLog(), line + transportFailure(-1001, "The request timed out."));
        expectArchiveKept();
    }
};

} // namespace

TEST_F(Realtime, TheWatchdogEndsARunThatIsStuckInZip) {
    install({.logBytes = 60'000'000, .logFiles = 6, .incompressible = true});
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil([] { return !processesOf("zip").empty(); }));
    for (const pid_t zip : processesOf("zip"))
        ::kill(zip, SIGSTOP);
    expectEndAfter(running, seconds(295), exited(1));
    EXPECT_THAT(
        log(), testing::EndsWith("INFO: Compressed File: lumaMacLog_LOGID_cef.zip\nINFO: Task timed out.\n"));
    EXPECT_TRUE(waitUntil([] { return processesOf("zip").empty(); }, seconds(1)));
    EXPECT_TRUE(fs::exists(runFolder() / "Lumadoc/LumaLog/Lumadoc-1.log"));
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(Realtime, AServerThatNeverAnswers) {
    expectTimeout({.neverAnswer = true}, "", seconds(59));
}

TEST_F(Realtime, AServerThatIsNeverDoneAnswering) {
    expectTimeout({.rawAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 10000\r\n\r\n",
                   .repeated = "x",
                   .repeatInterval = seconds(1)},
                  "INFO: Status Code: 200\n", seconds(299));
}

TEST_F(Realtime, ADesktopWhoseProxyScriptNeverComes) {
    install();
    const LoopbackListener silent(
        [](int socket) { support_service::waitOn(socket, support_service::forEver); });
    auto options = program();
    useDesktopProxies(options, silent.port());
    ProgramRun running(options);
    expectEndAfter(running, seconds(10), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
}
