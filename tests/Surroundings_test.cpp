// Surroundings that are hostile or incomplete: folders that cannot be made, and the user's environment
// variables and files that could mislead the program.
#include "tests/SilentRun.h"

#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

using Surroundings = SilentRun;

TEST_F(Surroundings, AFileInThePlaceOfTheWorkspace) {
    install();
    writeFile(root(), "in the way");
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    // It goes on as in any run, and each step says what is missing.
    EXPECT_THAT(log(firstLogFile()), testing::HasSubstr("ERROR: Failed to create the initial directories.\n"
                                                        "ERROR: Application terminated\n"
                                                        "INFO: PROGRAM, /silent\n"));
    EXPECT_THAT(log(firstLogFile()),
                testing::EndsWith("INFO: Unable to find copy LumadocDiagnostics log file. \n"
                                  "ERROR: Failed to create the file.\n"
                                  "INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
                                  "ERROR: Output folder path doesn't exist: RUN\n"
                                  "ERROR: unable to copy compressed file.\n"));
    EXPECT_EQ(readFile(root()), "in the way");
}

// The endpoint is sealed in the bundle; nothing that a user can set moves it.
TEST_F(Surroundings, AHostileEnvironmentChangesNothing) {
    install();
    writeProgram(home.path() / "bin/zip", "#!/bin/sh\nexit 3\n");
    writeFile(home.path() / ".curlrc", "url = https://localhost:1/\nproxy = http://localhost:1\n");
    writeFile(home.path() / ".netrc", "machine localhost login user password secret\n");
    const auto before = outside();
    auto options = program();
    for (const std::string variable :
         {"ZIPOPT=-m -x *", "ZIP=-m", "LANG=C", "LC_ALL=nowhere", "TMPDIR=/nowhere", "IFS=/",
          "CURL_CA_BUNDLE=/nowhere", "LumamonSupportHost=localhost:1", "LUMAMON_SUPPORT_HOST=localhost:1",
          "QT_DEBUG_PLUGINS=0", "SSLKEYLOGFILE=/nowhere/keys", "XDG_DATA_HOME=relative",
          "QT_LOGGING_RULES=*=true", "XDG_CACHE_HOME=../relative", "DISPLAY=:99"}) {
        const std::size_t equals = variable.find('=');
        options.variables.emplace_back(variable.substr(0, equals), variable.substr(equals + 1));
    }
    options.variables.emplace_back("PATH", home.path() / "bin");
    ProgramRun running(options);
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_EQ(running.standardOutput(), "");
    EXPECT_EQ(uploadLog(), sentWell);
    EXPECT_EQ(received().size(), 15U);
    EXPECT_FALSE(service.requests().at(0).headers.contains("Authorization"));
    expectUnchanged(before);
}

// A user may have moved a folder elsewhere; the program works in folders of its own all the same.
TEST_F(Surroundings, LinksInTheWorkspaceMakeWayForFoldersAndNothingHappensWhereTheyLead) {
    install();
    const fs::path documents = home.path() / "documents";
    for (const char *name :
         {"letter.bin", "lumaMacLog_mine_cef.zip", "folder/LumadocDiagnosticsDebugOutput.txt"})
        writeFile(documents / name, "precious");
    const auto before = treeOf(documents);
    for (const char *name : {"temp", "System", "Output", "Output/Recovered", "missing/temp"}) {
        SCOPED_TRACE(name);
        const bool isDangling = std::string(name).starts_with("missing");
        const fs::path link =
            root() / fs::path(name).relative_path().lexically_relative(isDangling ? "missing" : "");
        fs::remove_all(root());
        writeFile(root() / "temp/lumaMacLog_unsent_cef.zip", "unsent");
        fs::remove_all(link);
        fs::create_directories(link.parent_path());
        fs::create_symlink(isDangling ? home.path() / "nowhere" : documents, link);
        runWell();
        EXPECT_TRUE(fs::is_directory(fs::symlink_status(link)));
        EXPECT_THAT(treeOf(documents), testing::ContainerEq(before));
        const std::string text = log();
        EXPECT_EQ(QByteArray::fromStdString(text).count("WARNING: Replaced a link by a folder: "), 1) << text;
        EXPECT_EQ(received().size(), 15U);
        if (link.filename() != "temp") {
            EXPECT_EQ(readFile(root() / "Output/Recovered/lumaMacLog_unsent_cef.zip"), "unsent");
        }
    }
    EXPECT_FALSE(fs::exists(home.path() / "nowhere"));
}

TEST_F(Surroundings, TheWorkspaceItselfMayBeALinkToALargerDisk) {
    install();
    fs::create_directories(home.path() / "disk");
    fs::create_directories(root().parent_path());
    fs::create_symlink(home.path() / "disk", root());
    runWell();
    EXPECT_TRUE(fs::is_symlink(root()));
    EXPECT_TRUE(fs::is_directory(home.path() / "disk/Output"));
    EXPECT_THAT(log(), testing::Not(testing::HasSubstr("Replaced a link")));
}

TEST_F(Surroundings, RootInTheHomeOfAnotherUserEndsBeforeItTouchesAnything) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can try";
    install();
    const auto before = treeOf(home.path());
    ASSERT_EQ(::chown(home.path().c_str(), 12'345, 12'345), 0);
    const std::string line =
        "Brennic_Lumadoc_Diagnostics: This is the home folder of another user. Start the "
        "program as that user, not as root.\n";
    expectEnd(program(), 1, "", line);
    expectEnd(program({}), 1, "", line);
    EXPECT_THAT(treeOf(home.path()), testing::ContainerEq(before));
    EXPECT_EQ(service.connections(), 0U);
}
