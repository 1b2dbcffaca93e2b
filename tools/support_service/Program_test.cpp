// The support service as a program.
#include "../ProgramRun.h"
#include "Report.h"
#include "Sha256.h"
#include "TestClient.h"

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <sstream>

namespace fs = std::filesystem;

namespace support_service::test {

using namespace std::chrono_literals;

namespace {

class SupportServiceProgram : public testing::Test {
protected:
    tools::ProgramRun run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), SUPPORT_SERVICE_PATH);
        return {std::move(arguments), folder.path};
    }

    /// Runs it until it listens.
    tools::ProgramRun listen(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(),
                         {"--ready-file", ready(), "--certificate-file", trust(), "--store", store()});
        return run(std::move(arguments));
    }

    Answer upload(std::string_view content, Call how = {}) {
        for (int i = 0; i < 2000 && !fs::exists(ready()); ++i)
            std::this_thread::sleep_for(5ms);
        int port = 0;
        std::ifstream(ready()) >> port;
        EXPECT_GT(port, 0);
        how.trust = trust();
        return call(port, uploadBody(content), how);
    }

    std::string ready() const { return folder.path / "ready"; }
    std::string trust() const { return folder.path / "authority.pem"; }
    std::string store() const { return folder.path / "store"; }

    tools::ScratchFolder folder;
};

} // namespace

TEST_F(SupportServiceProgram, PrintsAReceipt) {
    auto program = listen({});
    EXPECT_EQ(upload("no archive").body, "Received.");
    ASSERT_TRUE(program.waitForOutput("Listing"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);

    const std::string output = program.output();
    EXPECT_EQ(output.find("Listening on https://localhost:"), 0U);
    EXPECT_NE(output.find("Trust: SSL_CERT_FILE=" + trust() + "\n"), std::string::npos);
    EXPECT_EQ(output.substr(output.find("Received")),
              "Received " + archiveName + "\n  Log ID   3b1f8a3e-55f0-4ad0-8d5c-3a1f1f3f9d55\n" +
                  "  Size     10 bytes\n  SHA-256  " + sha256Hex("no archive") + "\n  Stored   " + store() +
                  "/1-" + archiveName + "\n  Listing  none: this is no zip archive: it has no end record\n");
    EXPECT_EQ(program.errors(), "");
}

TEST_F(SupportServiceProgram, KeepsWhatItStoresPrivate) {
    auto program = listen({});
    upload("data");
    const auto mode = [](const fs::path &path) { return fs::status(path).permissions() & fs::perms::all; };
    EXPECT_EQ(mode(store()), fs::perms::owner_all);
    EXPECT_EQ(mode(store() + "/1-" + archiveName), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SupportServiceProgram, EndsAtOnceOnASignal) {
    auto program = listen({"--never-answer"});
    EXPECT_EQ(upload("data", {.timeout = 200ms}).error, CURLE_OPERATION_TIMEDOUT);
    const auto start = std::chrono::steady_clock::now();
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(SupportServiceProgram, AnswersAsToldForSoManyRequests) {
    auto program = listen({"--status", "503", "--body", "Busy.", "--header", "Retry-After: 5", "--location",
                           "https://other.example/", "--count", "1"});
    const Answer first = upload("data");
    EXPECT_EQ(first.status, 503);
    EXPECT_EQ(first.body, "Busy.");
    EXPECT_NE(first.headers.find("Retry-After: 5\r\n"), std::string::npos);
    EXPECT_NE(first.headers.find("Location: https://other.example/\r\n"), std::string::npos);
    EXPECT_EQ(upload("data").status, 200);
}

TEST_F(SupportServiceProgram, MisbehavesAsTold) {
    const struct {
        std::vector<std::string> options;
        int error;
    } cases[] = {
        {{"--certificate", "expired"}, CURLE_PEER_FAILED_VERIFICATION},
        {{"--handshake", "refuse"}, CURLE_SSL_CONNECT_ERROR},
        {{"--handshake", "hang"}, CURLE_OPERATION_TIMEDOUT},
        {{"--wait", "60"}, CURLE_OPERATION_TIMEDOUT},
        {{"--read-rate", "10"}, CURLE_OPERATION_TIMEDOUT},
        {{"--stop-reading-after", "10"}, CURLE_OPERATION_TIMEDOUT},
        {{"--reset-after", "10"}, CURLE_RECV_ERROR},
        {{"--ending", "reset-after-status-line"}, CURLE_RECV_ERROR},
        {{"--ending", "close-in-body"}, CURLE_PARTIAL_FILE},
        {{"--ending", "trickle", "--trickle-interval", "60000"}, CURLE_OPERATION_TIMEDOUT},
        {{"--answer-early", "read"}, CURLE_OK},
    };
    for (const auto &expected : cases) {
        fs::remove(ready());
        auto program = listen(expected.options);
        const auto timeout = expected.error == CURLE_OPERATION_TIMEDOUT ? 700ms : 20s;
        EXPECT_EQ(upload("data", {.timeout = timeout}).error, expected.error) << expected.options[1];
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0) << expected.options[1];
    }
}

TEST_F(SupportServiceProgram, RefusesWrongOptions) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--port"}, "--port needs a value"},
        {{"--port", "70000"}, "--port takes a whole number up to 65535, not \"70000\""},
        {{"--status", "2x"}, "--status takes a whole number up to 999, not \"2x\""},
        {{"--status", "100"}, "--status takes a number from 200 on"},
        {{"--ending", "other"}, "--ending does not know \"other\""},
        {{"--header", "none"}, "--header takes 'NAME: VALUE', not \"none\""},
        {{"--other"}, "unknown option --other"},
        {{"more"}, "unexpected argument more"},
    };
    for (const auto &[arguments, message] : cases) {
        auto program = run(arguments);
        EXPECT_EQ(program.wait(), 2);
        EXPECT_EQ(program.output(), "");
        EXPECT_EQ(program.errors(), "support_service: " + message + " (see --help)\n");
    }
}

TEST_F(SupportServiceProgram, SaysWhyItCannotStart) {
    SupportService other;
    auto program = run({"--port", std::to_string(other.port())});
    EXPECT_EQ(program.wait(), 1);
    EXPECT_EQ(program.errors(),
              "support_service: Cannot listen on port " + std::to_string(other.port()) + "\n");
}

TEST_F(SupportServiceProgram, ExplainsEveryOption) {
    auto program = run({"--help"});
    EXPECT_EQ(program.wait(), 0);
    for (const char *name : {"port",
                             "store",
                             "certificate-file",
                             "ready-file",
                             "count",
                             "status",
                             "body",
                             "header",
                             "location",
                             "any-request",
                             "wait",
                             "never-answer",
                             "answer-early",
                             "ending",
                             "trickle-interval",
                             "read-rate",
                             "stop-reading-after",
                             "reset-after",
                             "certificate",
                             "handshake",
                             "help"})
        EXPECT_NE(program.output().find(std::string("  --") + name + " "), std::string::npos) << name;
}

TEST(Report, ShowsNoControlCharacters) {
    Receipt receipt;
    receipt.fileName = "a\x1b[31m\nb.zip";
    receipt.problem = "some problem";
    std::ostringstream text;
    printReceipt(text, receipt);
    EXPECT_EQ(text.str(),
              "Received in part a?[31m?b.zip\n  Log ID   none\n  Size     0 bytes\n  SHA-256  none\n"
              "  Problem  some problem\n");
}

} // namespace support_service::test
