// What the program makes of each answer of the service: what it logs, whether it keeps the archive, that it
// ends.
#include "tests/SilentRun.h"

#include "test_support/LoopbackListener.h"

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

const std::string unknown = "Unknown error occurred.";
const std::string serverError = "Internal Server Error.";
const std::string lost = "The connection to the support server was lost.";
const std::string transportUnknown = "An unknown error occurred while sending the logs.";

std::string answered(int status, const std::string &data) {
    return "INFO: Status Code: " + std::to_string(status) + "\nINFO: Response Data: " + data + "\n";
}

std::string sent(const std::string &data) {
    return answered(200, data) + sentWell.substr(sentWell.find("INFO: Directory deleted"));
}

struct Case {
    std::string name;
    Behaviour behaviour;
    std::string log;
};

void PrintTo(const Case &answer, std::ostream *out) {
    *out << answer.name;
}

class Answer : public SilentRun, public testing::WithParamInterface<Case> {};

class Answers : public SilentRun {
protected:
    // Runs the program to its end, which must come, and gives the most memory that it took.
    std::uint64_t peakMemoryBytes() const {
        auto options = program();
        // A build with the address sanitizer would hold on to what was given back.
        options.variables.emplace_back("ASAN_OPTIONS", "quarantine_size_mb=1");
        ProgramRun running(options);
        EXPECT_EQ(running.waitForEnd(), exited(0));
        return running.peakMemoryBytes();
    }

    // What the kept mebibyte takes as bytes, as text, and as a line of the log, four times over in a build
    // with the thread sanitizer. The service sends more than this in a second.
    static constexpr std::uint64_t answerBytes = std::uint64_t{64} << 20;
};

} // namespace

TEST_P(Answer, IsToldAndDecidesWhatStays) {
    install();
    service.setBehaviour(GetParam().behaviour);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), GetParam().log);
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(service.receipts()[0].problem, "");
    if (GetParam().log.find("failed") != std::string::npos)
        expectArchiveKept();
    else
        EXPECT_FALSE(fs::exists(runFolder()));
}

INSTANTIATE_TEST_SUITE_P(
    Status, Answer,
    testing::Values(
        Case{"Ok", {.body = "Thank you: 42"}, sent("Thank you: 42")},
        Case{"OkWithoutBody", {.body = ""}, sent("")},
        Case{"OkInOtherBytes", {.body = "\xff\xfe\x80"}, sent("")},
        Case{"OkInUnicode", {.body = "Danke schön"}, sent("Danke schön")},
        Case{"Created", {.status = 201}, answered(201, "Received.") + answerFailure(0, unknown)},
        Case{"Accepted", {.status = 202}, answered(202, "Received.") + answerFailure(0, unknown)},
        Case{"NoContent", {.status = 204, .body = ""}, answered(204, "") + answerFailure(0, unknown)},
        Case{"FoundNowhere",
             {.status = 302, .body = "Moved"},
             answered(302, "Moved") + answerFailure(0, unknown)},
        Case{"BadRequest", {.status = 400, .body = "Why"}, answered(400, "Why") + answerFailure(0, unknown)},
        Case{"Unauthorized", {.status = 401}, answered(401, "Received.") + answerFailure(0, unknown)},
        Case{"NotFound", {.status = 404, .body = ""}, answered(404, "") + answerFailure(0, unknown)},
        Case{"NotAllowed", {.status = 405}, answered(405, "Received.") + answerFailure(1, serverError)},
        Case{"TooLarge", {.status = 413, .body = ""}, answered(413, "") + answerFailure(1, serverError)},
        Case{"ServerError",
             {.status = 500, .body = "Oh"},
             answered(500, "Oh") + answerFailure(1, serverError)},
        Case{"NotAvailable", {.status = 503}, answered(503, "Received.") + answerFailure(0, unknown)}),
    [](const auto &answer) { return answer.param.name; });

INSTANTIATE_TEST_SUITE_P(Broken, Answer,
                         testing::Values(Case{"ResetBehindStatusLine",
                                              {.ending = AnswerEnding::resetAfterStatusLine},
                                              "INFO: Status Code: 200\n" + transportFailure(-1005, lost)},
                                         Case{"ResetBehindHeaders",
                                              {.ending = AnswerEnding::resetAfterHeaders},
                                              "INFO: Status Code: 200\n" + transportFailure(-1005, lost)},
                                         Case{"ResetInBody",
                                              {.body = std::string(40'000, 'x'),
                                               .ending = AnswerEnding::resetInBody},
                                              "INFO: Status Code: 200\n" + transportFailure(-1005, lost)},
                                         Case{"ClosedInBody",
                                              {.ending = AnswerEnding::closeInBody},
                                              "INFO: Status Code: 200\n" + transportFailure(-1005, lost)},
                                         Case{"ServerErrorResetInBody",
                                              {.status = 500, .ending = AnswerEnding::resetInBody},
                                              "INFO: Status Code: 500\n" + transportFailure(-1005, lost)}),
                         [](const auto &answer) { return answer.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Slow, Answer,
    testing::Values(
        Case{"AfterAWhile", {.waitBeforeAnswer = std::chrono::milliseconds(700)}, sent("Received.")},
        Case{"ReadSlowly", {.readBytesPerSecond = 40'000}, sent("Received.")},
        Case{"BeforeTheBody", {.answerTime = AnswerTime::beforeBodyThenRead}, sent("Received.")}),
    [](const auto &answer) { return answer.param.name; });

TEST_F(Answers, LargerThanAMebibyteAreCutOff) {
    install();
    service.setBehaviour({.body = std::string(std::size_t{3} << 20, 'x')});
    EXPECT_EQ(run(), exited(0));
    EXPECT_TRUE(uploadLog() == sent(std::string(std::size_t{1} << 20, 'x')));
}

TEST_F(Answers, OfExactlyAMebibyteAreWhole) {
    install();
    service.setBehaviour({.body = std::string(std::size_t{1} << 20, 'x')});
    EXPECT_EQ(run(), exited(0));
    EXPECT_TRUE(uploadLog() == sent(std::string(std::size_t{1} << 20, 'x')));
}

TEST_F(Answers, WithoutEndAreCutOffAndTakeLittleMemory) {
    install();
    const std::uint64_t usual = peakMemoryBytes();
    service.setBehaviour({.status = 500, .ending = AnswerEnding::endlessBody});
    EXPECT_LT(peakMemoryBytes(), usual + answerBytes);
    EXPECT_TRUE(uploadLog() ==
                answered(500, std::string(std::size_t{1} << 20, 'x')) + answerFailure(1, serverError));
    expectArchiveKept();
}

TEST_F(Answers, WithHeadersWithoutEndAreGivenUpAndTakeLittleMemory) {
    install();
    const std::uint64_t usual = peakMemoryBytes();
    service.setBehaviour({.ending = AnswerEnding::endlessHeaders});
    EXPECT_LT(peakMemoryBytes(), usual + answerBytes);
    EXPECT_THAT(uploadLog(), testing::EndsWith("Silent Upload failed, app terminated--------------\n"));
    expectArchiveKept();
}

// The service has made up its mind before it has the archive, and hangs up.
TEST_F(Answers, BeforeTheBodyWasReadCount) {
    install({.logBytes = 6'000'000, .incompressible = true});
    service.setBehaviour({.answerTime = AnswerTime::beforeBodyThenClose, .status = 413});
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), answered(413, "Received.") + answerFailure(1, serverError));
    EXPECT_EQ(readArchive(archive()).count("Lumadoc/DetailedInfo.json"), 1U);
}

TEST_F(Answers, AreFollowedToAnotherPlaceWithTheWholeBody) {
    install();
    const std::string elsewhere = "https://127.0.0.1:" + std::to_string(service.port());
    service.setBehaviour({.status = 307, .location = elsewhere + "/cr-apip-7.0.0/mac/log"}, 1);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), sent("Received."));
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].header("Content-Type"), requests[0].header("Content-Type"));
    EXPECT_TRUE(*requests[1].body == *requests[0].body);
}

// As browsers do: a place to look at is asked for and nothing is sent there.
TEST_F(Answers, AreFollowedToAPlaceToLookAt) {
    install();
    service.setBehaviour({.status = 302, .location = "/look/here"}, 1);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), answered(404, "") + answerFailure(0, unknown));
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method + " " + requests[1].target, "GET /look/here");
    EXPECT_EQ(requests[1].header("Content-Length"), "");
    expectArchiveKept();
}

TEST_F(Answers, AreNeverFollowedToAnUnsafePlace) {
    install();
    const LoopbackListener plain([](int) {});
    const std::string unsafe = "http://localhost:" + std::to_string(plain.port()) + "/cr-apip-7.0.0/mac/log";
    for (const int status : {302, 307}) {
        service.setBehaviour({.status = status, .location = unsafe});
        EXPECT_EQ(run(), exited(0));
        EXPECT_EQ(uploadLog(), "INFO: Status Code: " + std::to_string(status) + "\n" +
                                   transportFailure(-1, transportUnknown));
        expectArchiveKept();
    }
    EXPECT_EQ(plain.connections(), 0U);
}

TEST_F(Answers, ThatLeadInACircleEnd) {
    install();
    service.setBehaviour({.status = 307, .location = "/cr-apip-7.0.0/mac/log"});
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), "INFO: Status Code: 307\n" + transportFailure(-1, transportUnknown));
    EXPECT_EQ(service.requests().size(), 21U);
    expectArchiveKept();
}
