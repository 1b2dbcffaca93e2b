// How the program starts: alone or beside another copy, with and without a window, and on which product.
#include "tests/SilentRun.h"

#include "sample_product/RunningProduct.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

class Launch : public SilentRun {
protected:
    // Starts a copy that stays in its upload.
    std::unique_ptr<ProgramRun> startAndHold() {
        service.setBehaviour({.neverAnswer = true});
        auto running = std::make_unique<ProgramRun>(program());
        EXPECT_TRUE(service.waitForReceipts(1, std::chrono::seconds(20)));
        EXPECT_TRUE(waitUntil([this] { return log().ends_with("INFO: \n"); }));
        return running;
    }

    static std::string detected(const std::string &arguments) {
        return "INFO: -----------Brennic_Lumadoc_Diagnostics running instanace detected. Terminating the new "
               "instance with [" +
               arguments + "].-----------\n";
    }

    // A copy of the bundle in another folder.
    ScratchBundle copyIn(const std::string &folder) const {
        fs::create_directories(home.path() / folder);
        return {bundle.path(), home.path() / folder};
    }
};

} // namespace

TEST_F(Launch, ASecondCopyLeavesOneLineAndEnds) {
    install();
    const auto first = startAndHold();
    // One that is stopped still runs.
    first->send(SIGSTOP);
    const std::string before = log();
    const auto filesBefore = namesIn("");
    // In another place it is a copy as well.
    auto options = program({"/silent", "/product=\"a\\b\""});
    options.program = copyIn("else\nwhere").executable();
    run(options);
    EXPECT_EQ(log(), before + detected("\"~/else\\nwhere/Brennic_Lumadoc_Diagnostics.app/Contents/Linux/"
                                       R"(Brennic_Lumadoc_Diagnostics", "/silent", "/product=\"a\\b\"")"));
    EXPECT_EQ(namesIn(""), filesBefore);
    EXPECT_TRUE(fs::is_empty(home.caches()));
    // Of another identifier it is none.
    const ScratchBundle other = copyIn("other");
    other.setText("CFBundleIdentifier", "com.brennic.Other");
    service.setBehaviour({});
    options.program = other.executable();
    run(options);
    EXPECT_EQ(service.receipts().size(), 2U);
    EXPECT_TRUE(first->isRunning());
}

TEST_F(Launch, ACopyIsFoundWhereverItsBundleIsAndWithoutADisplayUntilItIsGone) {
    install();
    const ScratchBundle other = copyIn("new");
    const auto first = startAndHold();
    fs::rename(bundle.path(), home.path() / "Old.app");
    fs::rename(home.path() / "Old.app/Contents/Linux", home.path() / "Old.app/Contents/Old");
    const std::string before = log();
    auto options = program({"-platform", "nowhere", "-qmljsdebugger=x"});
    options.program = other.executable();
    options.beforeStart = canEnter(enterNoNetwork) ? enterNoNetwork : nullptr;
    const std::string line =
        detected(R"("~/new/Brennic_Lumadoc_Diagnostics.app/Contents/Linux/Brennic_Lumadoc_Diagnostics", )"
                 R"("-platform", "nowhere", "-qmljsdebugger=x")");
    run(options);
    EXPECT_EQ(log(), before + line);
    first->send(SIGKILL);
    first->waitForEnd();
    options.arguments.emplace_back("/silent");
    run(options);
    EXPECT_THAT(log(), testing::HasSubstr("Brennic_Lumadoc_Diagnostics, -platform, nowhere, "
                                          "-qmljsdebugger=x, /silent\nINFO: Arguments: Silent Mode: Yes\n"));
}

TEST_F(Launch, OfTwoAtTheSameMomentOneGoesOn) {
    install();
    service.setBehaviour({.waitBeforeAnswer = std::chrono::milliseconds(400), .status = 503});
    for (std::size_t round = 1; round <= 3; ++round) {
        ProgramRun one(program());
        ProgramRun other(program());
        EXPECT_EQ(one.waitForEnd(), exited(0));
        EXPECT_EQ(other.waitForEnd(), exited(0));
        EXPECT_EQ(service.receipts().size(), round);
        EXPECT_THAT(log(), testing::EndsWith("Silent Upload failed, app terminated--------------\n"));
    }
    EXPECT_EQ(readFile(logFile()).count("Application Started"), 3);
}

// The system counts a process's age from before the program is in it.
TEST_F(Launch, AnOlderProcessThatBecomesACopyLaterIsTheSecond) {
    install();
    const fs::path go = home.path() / "go";
    auto options = program();
    options.arguments.insert(options.arguments.begin(),
                             {"-c", "while [ ! -e '" + go.native() + "' ]; do sleep 0.01; done; exec \"$@\"",
                              "sh", options.program.native()});
    options.program = "/bin/sh";
    ProgramRun older(options);
    const auto first = startAndHold();
    writeFile(go, "");
    EXPECT_EQ(older.waitForEnd(std::chrono::seconds(10)), exited(0));
    EXPECT_THAT(log(), testing::EndsWith(detected("\"PROGRAM\", \"/silent\"")));
    EXPECT_TRUE(first->isRunning());
    EXPECT_EQ(service.receipts().size(), 1U);
}

TEST_F(Launch, WithoutADisplayAWindowOrAnIdentifierItSaysSoAndEnds) {
    expectEnd(
        program({}), 1, "",
        "Brennic_Lumadoc_Diagnostics: the window cannot be opened: there is no display. Start the program "
        "on a desktop, or with /silent, which needs none.\n");
    // Silent mode alone is installed.
    fs::remove(bundle.path() / "Contents/PlugIns/libWindow.so");
    expectEnd(program({}), 1, "",
              "Brennic_Lumadoc_Diagnostics: the window is not installed; install the package "
              "lumadoc-diagnostics\n");
    install();
    runWell();
    bundle.removeText("CFBundleIdentifier");
    expectEnd(program(), 1, "", "Brennic_Lumadoc_Diagnostics: The main bundle has no identifier.\n");
}

TEST_F(Launch, TheNamedProductGoesBeforeTheOneThatRuns) {
    const auto named = install({.edition = sample_product::Edition::pellix, .version = "24.1.10"});
    const auto other = install();
    const sample_product::RunningProduct running(other.executable);
    run(program({"/silent", "/PRODUCT=Pellix", " /track=BETA "}));
    EXPECT_EQ(logBetween("INFO: Running without UI based on command-line parameter.\n",
                         "INFO: Directory created: RUN/"),
              "INFO: FlavourFromAppVersion:24.1.10 flavour: Beta\n"
              "INFO: Found Lumadoc from Commandline params: ~/Applications/Pellix.app\n");
    auto record = receivedRecord();
    EXPECT_EQ(record["lumadoc_product"], "Pellix");
    EXPECT_EQ(record["lumadoc_version"], "Beta");
    EXPECT_EQ(record["lumadoc_versionnumber"], "24.1.10");
    EXPECT_EQ(record["lumadoc_lumadocinstallpath"], named.bundle);
    EXPECT_TRUE(received().contains("Pellix/LumaLog/Lumadoc-1.log"));
}

TEST_F(Launch, WithoutAProductAVersionOrAPathAnEmptyRecordIsSent) {
    bundle.removeText("CFBundleShortVersionString");
    auto options = program();
    options.name = "diagnostics";
    runWell(options);
    EXPECT_THAT(log(), testing::HasSubstr("Started----------------------------\n"
                                          "INFO: LumadocDiagnostics Directory: ROOT\n"));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: diagnostics, /silent\n"));
    EXPECT_EQ(logBetween("INFO: LumadocRunningInstance.isEmpty\n", "INFO: Directory created: RUN/"),
              "INFO: lumadocInstalledUrls.isEmpty\nINFO: pellixInstalledUrls.isEmpty\n");
    auto record = receivedRecord();
    EXPECT_EQ(record["lumadoc_product"], "Pellix");
    EXPECT_EQ(record["lumadoc_version"], "Trunk");
    EXPECT_EQ(record["lumadoc_versionnumber"] + record["lumadoc_lumadocinstallpath"], "");
}
