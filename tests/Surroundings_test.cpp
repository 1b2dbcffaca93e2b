// Surroundings that are hostile or incomplete: a workspace that cannot be made, no home folder, no standard
// streams, hostile environment variables.
#include "tests/SilentRun.h"

#include <pwd.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class Surroundings : public SilentRun {};

} // namespace

TEST_F(Surroundings, AFileInThePlaceOfTheWorkspace) {
    install();
    writeFile(root(), "in the way");
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    // As in any run.
    const std::size_t begin = collectedSmallProduct.find("INFO: PROGRAM, /silent");
    const std::string choice = collectedSmallProduct.substr(
        begin, collectedSmallProduct.find("INFO: Directory created: RUN/Lumadoc") - begin);
    EXPECT_EQ(log(firstLogFile()),
              "----------------------------Application Started----------------------------\n"
              "INFO: Brennic_Lumadoc_Diagnostics App Version: 7.8.9\n"
              "INFO: LumadocDiagnostics Directory: ROOT\n"
              "ERROR: Failed to create the initial directories.\n"
              "ERROR: Application terminated\n" +
                  choice +
                  "ERROR: Directory created: RUN/Lumadoc\n"
                  "ERROR: Error copying LumaLog: Not a directory\n"
                  "ERROR: Error while copying files: Not a directory\n"
                  "ERROR: Error accessing directory: RUN - Not a directory\n"
                  "INFO: Total files removed based on allowed extensions: 0\n"
                  "INFO: Log file will be copied and compressed after this point.\n"
                  "INFO: Unable to find copy LumadocDiagnostics log file. \n"
                  "ERROR: Failed to create the file.\n"
                  "INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
                  "ERROR: Output folder path doesn't exist: RUN\n"
                  "ERROR: unable to copy compressed file.\n");
    EXPECT_EQ(readFile(root()), "in the way");
}

TEST_F(Surroundings, ACachesFolderThatCannotBeMade) {
    install();
    writeFile(home.caches(), "in the way");
    ProgramRun running(program());
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_EQ(running.standardOutput(), "Failed to create log directory: Not a directory\n");
    EXPECT_EQ(running.standardError(), "");
    EXPECT_EQ(service.receipts().size(), 1U);
    EXPECT_FALSE(fs::exists(logFile()));
    EXPECT_EQ(readFile(home.caches()), "in the way");
}

TEST_F(Surroundings, WithoutAnyHomeItEndsWithOneLine) {
    constexpr uid_t nobodyKnown = 54'321;
    ASSERT_EQ(::getpwuid(nobodyKnown), nullptr);
    if (!canRunAs(nobodyKnown))
        GTEST_SKIP() << "this user cannot run the program as somebody else";
    fs::permissions(home.path(), fs::perms::all);
    (void)!::lchown(bundle.path().c_str(), nobodyKnown, nobodyKnown);
    for (const auto &entry : fs::recursive_directory_iterator(bundle.path()))
        (void)!::lchown(entry.path().c_str(), nobodyKnown, nobodyKnown);
    auto options = program();
    options.user = nobodyKnown;
    options.variables.emplace_back("HOME", std::nullopt);
    ProgramRun running(options);
    EXPECT_EQ(running.waitForEnd(), exited(1));
    EXPECT_EQ(running.standardOutput(), "");
    EXPECT_EQ(running.standardError(), "Brennic_Lumadoc_Diagnostics: The user has no caches folder.\n");
}

TEST_F(Surroundings, ClosedStandardStreamsHarmNothing) {
    install();
    const auto before = outside();
    service.setBehaviour({.waitBeforeAnswer = std::chrono::milliseconds(300)});
    auto options = program();
    options.streams = StandardStreams::closed;
    ProgramRun running(options);
    ASSERT_TRUE(service.waitForReceipts(1, std::chrono::seconds(20)));
    // What is written to them must not end up in one of the program's files or connections.
    for (const char *stream : {"0", "1", "2"}) {
        const fs::path link = "/proc/" + std::to_string(running.processId()) + "/fd/" + stream;
        EXPECT_EQ(fs::read_symlink(link), "/dev/null");
    }
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_THAT(log(), testing::EndsWith("INFO: \n" + sentWell));
    EXPECT_EQ(received().size(), 15U);
    expectUnchanged(before);
}

TEST_F(Surroundings, AHostileEnvironmentChangesNothing) {
    install();
    fs::create_directories(home.path() / "bin");
    writeFile(home.path() / "bin/zip", "#!/bin/sh\nexit 3\n");
    fs::permissions(home.path() / "bin/zip", fs::perms::all);
    const auto before = outside();
    auto options = program();
    for (const auto &[name, value] :
         std::vector<std::pair<std::string, std::string>>{{"ZIPOPT", "-m -x *"},
                                                          {"ZIP", "-m"},
                                                          {"LANG", "C"},
                                                          {"LC_ALL", "nowhere"},
                                                          {"TMPDIR", "/nowhere"},
                                                          {"PATH", (home.path() / "bin").native()},
                                                          {"IFS", "/"},
                                                          {"CURL_CA_BUNDLE", "/nowhere"},
                                                          {"SSLKEYLOGFILE", "/nowhere/keys"},
                                                          {"QT_LOGGING_RULES", "*=true"},
                                                          {"QT_DEBUG_PLUGINS", "0"},
                                                          {"XDG_DATA_HOME", "relative"},
                                                          {"XDG_CACHE_HOME", "../relative"},
                                                          {"DISPLAY", ":99"}})
        options.variables.emplace_back(name, value);
    ProgramRun running(options);
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_EQ(running.standardOutput(), "");
    EXPECT_THAT(log(), testing::StartsWith(collectedSmallProduct));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(received().size(), 15U);
    expectUnchanged(before);
}
