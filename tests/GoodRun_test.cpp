// A run in which nothing goes wrong, from the command line to the service.
#include "tests/SilentRun.h"

#include "test_support/PropertyLists.h"

namespace fs = std::filesystem;
using namespace test_support;

namespace {

// What the log says of a run of the small product, from its start to its archive.
const std::string collectedSmallProduct =
    "----------------------------Application Started----------------------------\n"
    "INFO: Brennic_Lumadoc_Diagnostics App Version: 7.8.9\n"
    "INFO: LumadocDiagnostics Directory: ROOT\n"
    "INFO: Directory created: RUN\n"
    "INFO: Directory created: System\n"
    "INFO: Directory created: temp\n"
    "INFO: PROGRAM, /silent\n"
    "INFO: Arguments: Silent Mode: Yes\n"
    "INFO: Component Name: Not provided\n"
    "INFO: product: Not provided\n"
    "INFO: Track: Not provided\n"
    "INFO: Running without UI based on command-line parameter.\n"
    "ERROR: Not Found Lumadoc form Commandline params.\n"
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n"
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx\n"
    "INFO: LumadocRunningInstance.isEmpty\n"
    "INFO: App url for bundle: com.brennic.LumadocPE is: ~/Applications/Lumadoc.app\n"
    "INFO: Lumadoc installation found.\n"
    "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ\n"
    "INFO: Directory created: RUN/Lumadoc\n"
    "INFO: Total [\"lumacef\"] files found: 3. Copying: 3 of size 58 kb. MaxFileCopyCount: 100\n"
    "INFO: Removed file with extension: bin\n"
    "INFO: Total files removed based on allowed extensions: 1\n"
    "INFO: Log file will be copied and compressed after this point.\n"
    "INFO: File created and content written successfully.\n"
    "INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
    "INFO: Directory compressed successfully.\n"
    "INFO: Deleted: Lumadoc\n"
    "INFO: File copied successfully.\n"
    "INFO: Deleted: lumaMacLog_LOGID_cef.zip\n";

class GoodRun : public SilentRun {
protected:
    // The archive holds what the product logged, byte for byte, for the user alone, and the two files of the
    // run itself.
    void expectPacked(const sample_product::SampleProduct &product) const {
        std::map<std::string, std::string> expected{{"", ""}, {"LumaLog/", ""}, {"DiagnosticReports/", ""}};
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(product.logs)) {
            const std::string name = "LumaLog/" + entry.path().lexically_relative(product.logs).native();
            if (entry.is_directory())
                expected[name + '/'];
            else if (entry.path().extension() != ".bin")
                expected[name] = readFile(entry.path()).toStdString();
        }
        for (const auto &entry : fs::directory_iterator(product.crashReports)) {
            if (const std::string name = entry.path().filename(); name.starts_with("Lumacef_"))
                expected["DiagnosticReports/" + name] = readFile(entry.path()).toStdString();
        }
        EXPECT_EQ(expected.size(), 13U);
        std::map<std::string, std::string> packed;
        for (const auto &[name, item] : received()) {
            EXPECT_EQ(item.mode & 077U, 0U) << name;
            packed[name.substr(std::string("Lumadoc/").size())] = item.content;
        }
        // The log as it was when it was copied.
        const std::string log = packed["LumadocDiagnosticsDebugOutput.log"];
        EXPECT_THAT(log, testing::EndsWith("Log file will be copied and compressed after this point.\n"));
        EXPECT_TRUE(readFile(logFile()).startsWith(QByteArray::fromStdString(log)));
        EXPECT_EQ(packed.erase("LumadocDiagnosticsDebugOutput.log") + packed.erase("DetailedInfo.json"), 2U);
        EXPECT_TRUE(packed == expected);
    }
};

// The entries at and below these folders that somebody else than their owner may read, write or enter.
std::string openToOthers(const fs::path &folder, const fs::path &other) {
    ProgramRun find(
        {.program = "/usr/bin/find", .arguments = {folder, other, "!", "-type", "l", "-perm", "/077"}});
    find.waitForEnd();
    return find.standardOutput();
}

} // namespace

TEST_F(GoodRun, SendsWhatTheProductLoggedAndChangesNothingOutsideItsFolder) {
    const auto product = install();
    fs::create_symlink("Logs", home.library() / "link to logs");
    const auto before = outside();
    run();
    expectUnchanged(before);
    EXPECT_TRUE(fs::is_empty(home.caches()));
    EXPECT_EQ(namesIn(""),
              (std::vector<std::string>{"Output", "System", "System/LumadocDiagnosticsDebugOutput.log",
                                        "com.brennic.LumadocDiagnostics.lock", "temp"}));
    ASSERT_EQ(service.receipts().size(), 1U);
    const auto receipt = service.receipts()[0];
    const auto megabytes = QByteArray::number(static_cast<double>(receipt.sizeBytes) / 1048576, 'f', 3);
    EXPECT_EQ(log(), collectedSmallProduct + "INFO: Compressed file size: " + megabytes.toStdString() +
                         " mb\nINFO: \n" + sentWell);
    EXPECT_EQ(receipt.problem, "") << "the service checks the form byte for byte";
    EXPECT_EQ(receipt.fileName, "lumaMacLog_" + logId() + "_cef.zip");
    EXPECT_EQ(service.requests().size(), 1U);
    expectPacked(product);

    // The next run appends to the log, under new names.
    const QByteArray first = readFile(logFile());
    const std::string firstId = logId();
    run(program({"/silent", "/component=Viewer"}));
    EXPECT_NE(logId(), firstId);
    const QByteArray both = readFile(logFile());
    ASSERT_TRUE(both.startsWith(first));
    EXPECT_TRUE(both.mid(first.size()).startsWith('\n'));
    EXPECT_FALSE(both.contains(home.path().c_str())) << "the home folder's name is masked";
    EXPECT_THAT(log(), testing::HasSubstr("INFO: Directory created: RUN\nINFO: PROGRAM, /silent, "));
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

// Looked at over and over while the run goes on, with a file mode mask around it that hides nothing.
TEST_F(GoodRun, LetsNobodyElseReadWhatItCollectsOrKeeps) {
    install({.logBytes = 3'000'000, .logFiles = 60, .incompressible = true});
    fs::permissions(home.path(), fs::perms::all);
    service.setBehaviour({.readBytesPerSecond = 8'000'000, .status = 503});
    ProgramRun running(program());
    std::size_t most = 0;
    for (bool isLast = false; !isLast;) {
        isLast = !running.isRunning();
        ASSERT_EQ(openToOthers(root(), home.caches() / "Logs"), "");
        most = std::max(most, namesIn("").size());
    }
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_TRUE(fs::exists(archive()));
    EXPECT_GT(most, 10U) << "what was collected was never seen";
}

// A run that was killed with the product's logging switched on has left a record of that.
TEST_F(GoodRun, RepairsWhatAKilledRunHasLeftSwitchedOn) {
    const auto product = install();
    const QByteArray name = product.preferences.filename().c_str();
    writeFile(product.preferences,
              xmlList("<dict><key>QZ</key><dict><key>LumaLogging</key><dict><key>EnableLumaLogging</key>"
                      "<array><integer>10</integer><integer>7</integer></array></dict></dict></dict>"));
    writeFile(root() / "System/LoggingSwitch.plist",
              xmlList("<dict><key>PreferenceFile</key><string>" + name + "</string><key>Track</key>" +
                      "<string>QZ</string><key>MadeKeys</key><true/></dict>"));
    run();
    EXPECT_EQ(logBetween("INFO: Directory created: RUN\n", "INFO: PROGRAM, /silent\n"),
              "INFO: Directory created: temp\nINFO: Interrupted run: EnableLumaLogging put back in "
              "~/.local/share/Library/Preferences/" +
                  name.toStdString() + "\n");
    EXPECT_FALSE(readFile(product.preferences).contains("EnableLumaLogging"));
}
