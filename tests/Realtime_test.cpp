// The program's time limits, waited for in full: minutes each.
#include "tests/SilentRun.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

namespace {

class Realtime : public SilentRun {
protected:
    void expectEndWithin(ProgramRun &running, seconds least, seconds most, const ProgramEnd &end) {
        const auto begin = Clock::now();
        EXPECT_EQ(running.waitForEnd(most), end);
        EXPECT_GE(Clock::now() - begin, least);
        EXPECT_EQ(running.standardOutput() + running.standardError(), "");
    }

    const std::string timedOut = "The request timed out.";
};

} // namespace

TEST_F(Realtime, TheWatchdogEndsARunThatIsStuckInZip) {
    install({.logBytes = 60'000'000, .logFiles = 6, .incompressible = true});
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil([] { return !processesOf("zip").empty(); }));
    for (const pid_t zip : processesOf("zip"))
        ::kill(zip, SIGSTOP);
    expectEndWithin(running, seconds(295), seconds(310), exited(1));
    EXPECT_THAT(
        log(), testing::EndsWith("INFO: Compressed File: lumaMacLog_LOGID_cef.zip\nINFO: Task timed out.\n"));
    EXPECT_TRUE(waitUntil([] { return processesOf("zip").empty(); }, seconds(1)));
    EXPECT_TRUE(fs::exists(runFolder() / "Lumadoc/LumaLog/Lumadoc-1.log"));
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(Realtime, AServerThatNeverAnswers) {
    install();
    service.setBehaviour({.neverAnswer = true});
    ProgramRun running(program());
    expectEndWithin(running, seconds(59), seconds(75), exited(0));
    EXPECT_EQ(uploadLog(), transportFailure(-1001, timedOut));
    expectArchiveKept();
}

TEST_F(Realtime, AServerThatStopsReading) {
    install({.logBytes = 6'000'000, .incompressible = true});
    service.setBehaviour({.stopReadingAfterBytes = 100'000});
    ProgramRun running(program());
    expectEndWithin(running, seconds(59), seconds(75), exited(0));
    EXPECT_EQ(uploadLog(), transportFailure(-1001, timedOut));
    EXPECT_EQ(readArchive(archive()).count("Lumadoc/DetailedInfo.json"), 1U);
}

TEST_F(Realtime, AServerThatNeverAgreesOnTls) {
    install();
    service.setHandshake(Handshake::hang);
    ProgramRun running(program());
    expectEndWithin(running, seconds(59), seconds(75), exited(0));
    EXPECT_EQ(uploadLog(), transportFailure(-1001, timedOut));
}

TEST_F(Realtime, AServerThatFallsSilentAfterItsHeaders) {
    install();
    service.setBehaviour({.ending = AnswerEnding::hangAfterHeaders});
    ProgramRun running(program());
    expectEndWithin(running, seconds(59), seconds(75), exited(0));
    EXPECT_EQ(uploadLog(), "INFO: Status Code: 200\n" + transportFailure(-1001, timedOut));
    expectArchiveKept();
}

TEST_F(Realtime, AServerThatIsNeverDoneAnswering) {
    install();
    service.setBehaviour({.ending = AnswerEnding::trickle, .trickleInterval = std::chrono::seconds(1)});
    ProgramRun running(program());
    expectEndWithin(running, seconds(299), seconds(315), exited(0));
    EXPECT_EQ(uploadLog(), "INFO: Status Code: 200\n" + transportFailure(-1001, timedOut));
    expectArchiveKept();
}

// A line so slow that what the system has already taken from the program needs more than a minute to arrive.
TEST_F(Realtime, AServerThatReadsSlowlyButSteadily) {
    install({.logBytes = 4'000'000, .logFiles = 6, .incompressible = true});
    service.setBehaviour({.readBytesPerSecond = 20'000});
    ProgramRun running(program());
    expectEndWithin(running, seconds(120), seconds(300), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
}
