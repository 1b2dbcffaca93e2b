// Surroundings that are hostile or incomplete: folders that cannot be made, and the user's environment
// variables and files that could mislead the program.
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
