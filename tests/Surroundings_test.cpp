// Surroundings that are hostile or incomplete: a workspace that cannot be made, a read-only library, no
// standard streams, hostile environment variables.
#include "tests/SilentRun.h"

namespace fs = std::filesystem;
using namespace test_support;

using Surroundings = SilentRun;

TEST_F(Surroundings, AFileInThePlaceOfTheWorkspace) {
    install();
    writeFile(root(), "in the way");
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    // It goes on as in any run, and each step says what is missing.
    EXPECT_THAT(log(firstLogFile()), testing::HasSubstr("INFO: LumadocDiagnostics Directory: ROOT\n"
                                                        "ERROR: Failed to create the initial directories.\n"
                                                        "ERROR: Application terminated\n"
                                                        "INFO: PROGRAM, /silent\n"));
    EXPECT_THAT(log(firstLogFile()),
                testing::EndsWith("ERROR: Directory created: RUN/Lumadoc\n"
                                  "ERROR: Error copying LumaLog: Not a directory\n"
                                  "ERROR: Error while copying files: Not a directory\n"
                                  "ERROR: Error accessing directory: RUN - Not a directory\n"
                                  "INFO: Total files removed based on allowed extensions: 0\n"
                                  "INFO: Log file will be copied and compressed after this point.\n"
                                  "INFO: Unable to find copy LumadocDiagnostics log file. \n"
                                  "ERROR: Failed to create the file.\n"
                                  "INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
                                  "ERROR: Output folder path doesn't exist: RUN\n"
                                  "ERROR: unable to copy compressed file.\n"));
    EXPECT_EQ(readFile(root()), "in the way");
}

TEST_F(Surroundings, ACachesFolderThatCannotBeMade) {
    install();
    writeFile(home.caches(), "in the way");
    expectEnd(program(), 0, "Failed to create log directory: Not a directory\n", "");
    EXPECT_EQ(service.receipts().size(), 1U);
    EXPECT_FALSE(fs::exists(logFile()));
    EXPECT_EQ(readFile(home.caches()), "in the way");
}

TEST_F(Surroundings, AReadOnlyLibrary) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const Mount library = Mount::readOnly(home.library());
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    EXPECT_THAT(log(firstLogFile()),
                testing::HasSubstr("ERROR: Error copying LumaLog: Read-only file system\n"));
}

TEST_F(Surroundings, ClosedStandardStreamsHarmNothing) {
    install();
    const auto before = outside();
    auto options = program();
    options.streams = StandardStreams::closed;
    runWell(options);
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
    const std::pair<const char *, std::string> hostile[] = {{"ZIPOPT", "-m -x *"},
                                                            {"ZIP", "-m"},
                                                            {"LANG", "C"},
                                                            {"LC_ALL", "nowhere"},
                                                            {"TMPDIR", "/nowhere"},
                                                            {"PATH", home.path() / "bin"},
                                                            {"IFS", "/"},
                                                            {"CURL_CA_BUNDLE", "/nowhere"},
                                                            {"QT_DEBUG_PLUGINS", "0"},
                                                            {"SSLKEYLOGFILE", "/nowhere/keys"},
                                                            {"XDG_DATA_HOME", "relative"},
                                                            {"QT_LOGGING_RULES", "*=true"},
                                                            {"XDG_CACHE_HOME", "../relative"},
                                                            {"DISPLAY", ":99"}};
    for (const auto &[name, value] : hostile)
        options.variables.emplace_back(name, value);
    ProgramRun running(options);
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_EQ(running.standardOutput(), "");
    EXPECT_THAT(log(), testing::StartsWith(collectedSmallProduct));
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(received().size(), 15U);
    expectUnchanged(before);
}
