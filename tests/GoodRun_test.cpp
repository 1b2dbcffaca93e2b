// A run in which nothing goes wrong, from the command line to the service.
#include "tests/SilentRun.h"

#include <set>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

using GoodRun = SilentRun;

std::string sizeLine(std::uint64_t bytes) {
    const QString megabytes = QString::number(static_cast<double>(bytes) / 1048576, 'f', 3);
    return "INFO: Compressed file size: " + megabytes.toStdString() + " mb\n";
}

} // namespace

TEST_F(GoodRun, LogsEveryStepInOrderAndLeavesNothingElse) {
    install();
    run();
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(log(),
              collectedSmallProduct + sizeLine(service.receipts()[0].sizeBytes) + "INFO: \n" + sentWell);
    EXPECT_FALSE(fs::exists(firstLogFile()));
    EXPECT_EQ(namesIn(""), (std::vector<std::string>{"Output", "System",
                                                     "System/LumadocDiagnosticsDebugOutput.log", "temp"}));
    EXPECT_TRUE(fs::is_empty(home.caches()));
}

// The service checks the form byte for byte.
TEST_F(GoodRun, SendsOneRequestOfTheAgreedForm) {
    // Of a size at which clients like to ask first whether they may send.
    install({.logBytes = 3'000'000, .incompressible = true});
    runWell();
    ASSERT_EQ(service.requests().size(), 1U);
    const auto request = service.requests()[0];
    EXPECT_EQ(request.header("Host"), service.host());
    EXPECT_EQ(request.header("Expect"), "");
    EXPECT_EQ(request.header("Transfer-Encoding"), "");
    EXPECT_EQ(request.header("Content-Length"), std::to_string(request.body->size()));
    const auto receipt = service.receipts().at(0);
    EXPECT_EQ(receipt.problem, "");
    EXPECT_EQ(receipt.fileName, "lumaMacLog_" + logId() + "_cef.zip");
}

TEST_F(GoodRun, PacksWhatTheProductLoggedByteForByte) {
    const auto product = install();
    run();
    const auto items = received();

    std::set<std::string> expected{"Lumadoc/",
                                   "Lumadoc/LumaLog/",
                                   "Lumadoc/LumaLog/services/",
                                   "Lumadoc/LumaLog/services/session 1/",
                                   "Lumadoc/DiagnosticReports/",
                                   "Lumadoc/DetailedInfo.json",
                                   "Lumadoc/LumadocDiagnosticsDebugOutput.log"};
    const auto expectFile = [&](const std::string &name, const fs::path &source) {
        EXPECT_TRUE(items.contains(name) && items.at(name).content == readFile(source).toStdString()) << name;
        expected.insert(name);
    };
    for (const auto &entry : fs::recursive_directory_iterator(product.logs)) {
        if (entry.is_regular_file() && entry.path().extension() != ".bin")
            expectFile("Lumadoc/LumaLog/" + entry.path().lexically_relative(product.logs).native(), entry);
    }
    for (const auto &entry : fs::directory_iterator(product.crashReports)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("Lumacef_"))
            expectFile("Lumadoc/DiagnosticReports/" + name, entry);
    }
    EXPECT_EQ(expected.size(), 15U);
    for (const auto &[name, item] : items) {
        EXPECT_EQ(item.mode & 077U, 0U) << name;
        EXPECT_TRUE(expected.contains(name)) << name;
    }
    EXPECT_EQ(items.size(), expected.size());
    // The log as it was when it was copied.
    const std::string &copied = items.at("Lumadoc/LumadocDiagnosticsDebugOutput.log").content;
    EXPECT_THAT(copied, testing::EndsWith("Log file will be copied and compressed after this point.\n"));
    EXPECT_TRUE(readFile(logFile()).startsWith(QByteArray::fromStdString(copied)));
}

TEST_F(GoodRun, PacksARecordOfTheRun) {
    install();
    run(program({"/silent", "/component=Viewer"}));
    auto record = receivedRecord();
    EXPECT_THAT(record["diagnostics_machineid"], testing::MatchesRegex("[0-9a-f]{128}"));
    record.erase("diagnostics_machineid");
    EXPECT_EQ(record, (std::map<std::string, std::string>{
                          {"lumadoc_product", "Lumadoc"},
                          {"lumadoc_version", "QZ"},
                          {"lumadoc_versionnumber", "10.003.20112"},
                          {"lumadoc_lumadocinstallpath", home.path() / "Applications/Lumadoc.app"},
                          {"diagnostics_silentapp", "True"},
                          {"diagnostics_version", "7.8.9"},
                          {"diagnostics_component", "viewer"},
                      }));
}

TEST_F(GoodRun, ChangesNothingOutsideItsOwnFolder) {
    install({.logFiles = 28, .crashReports = 5, .preferences = sample_product::Preferences::binary});
    fs::create_symlink("Logs", home.library() / "link to logs");
    const auto before = outside();
    run();
    expectUnchanged(before);
    EXPECT_GT(before.size(), 40U);
    EXPECT_TRUE(fs::is_empty(home.caches()));
}

// Looked at over and over while the run goes on, with a file mode mask around it that hides nothing.
TEST_F(GoodRun, LetsNobodyElseReadWhatItCollectsOrKeeps) {
    install({.logBytes = 3'000'000, .logFiles = 60, .incompressible = true});
    fs::permissions(home.path(), fs::perms::all);
    service.setBehaviour({.readBytesPerSecond = 8'000'000, .status = 503});
    ProgramRun running(program());
    std::vector<std::string> open;
    std::size_t looks = 0;
    std::size_t most = 0;
    while (running.isRunning() && open.empty()) {
        if (!fs::exists(root()))
            continue;
        open = openToOthers(root());
        const auto first = openToOthers(home.caches() / "Logs");
        open.insert(open.end(), first.begin(), first.end());
        most = std::max(most, namesIn("").size());
        ++looks;
    }
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_TRUE(fs::exists(archive()));
    EXPECT_EQ(openToOthers(root()), std::vector<std::string>());
    EXPECT_EQ(open, std::vector<std::string>());
    EXPECT_GT(looks, 10U);
    EXPECT_GT(most, 10U) << "what was collected was never seen";
}

TEST_F(GoodRun, AppendsToTheLogOfEarlierRunsUnderNewNames) {
    install();
    run();
    const QByteArray first = readFile(logFile());
    const std::string firstId = logId();
    run();
    EXPECT_NE(logId(), firstId);
    const QByteArray both = readFile(logFile());
    ASSERT_TRUE(both.startsWith(first));
    EXPECT_TRUE(both.mid(first.size()).startsWith('\n'));
    std::string second = collectedSmallProduct;
    for (const std::string made : {"INFO: Directory created: System\n", "INFO: Directory created: temp\n"})
        second.erase(second.find(made), made.size());
    EXPECT_THAT(log(), testing::StartsWith(second));
}
