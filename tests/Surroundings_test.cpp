// Surroundings that are hostile or incomplete: a workspace that cannot be made, no home folder, no standard
// streams, an environment that means no good.
#include "tests/SilentRun.h"

#include <cmath>
#include <ctime>
#include <pwd.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class Surroundings : public SilentRun {};

void giveTo(uid_t user, const fs::path &folder) {
    (void)!::lchown(folder.c_str(), user, user);
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        (void)!::lchown(entry.path().c_str(), user, user);
}

} // namespace

TEST_F(Surroundings, AFileInThePlaceOfTheWorkspace) {
    install();
    writeFile(root(), "in the way");
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    EXPECT_EQ(log(firstLogFile()),
              "----------------------------Application Started----------------------------\n"
              "INFO: Brennic_Lumadoc_Diagnostics App Version: 7.8.9\n"
              "INFO: LumadocDiagnostics Directory: ROOT\n"
              "ERROR: Failed to create the initial directories.\n"
              "ERROR: Application terminated\n"
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

TEST_F(Surroundings, AReadOnlyLibrary) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const auto before = treeOf(home.library());
    const Mount readOnly = Mount::readOnly(home.library());
    ProgramRun running(program());
    expectItStays(running, firstLogFile());
    const std::string text = log(firstLogFile());
    EXPECT_THAT(text, testing::HasSubstr("ERROR: Failed to create the initial directories.\n"
                                         "ERROR: Application terminated\n"
                                         "INFO: PROGRAM, /silent\n"));
    EXPECT_THAT(text, testing::EndsWith("ERROR: unable to copy compressed file.\n"));
    EXPECT_EQ(differences(before, treeOf(home.library())), std::vector<std::string>());
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
    giveTo(nobodyKnown, bundle.path());
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
    // Whatever is meant for them must not end up in a file or a connection of the program's.
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

// The run folder is named by local time, the log's stamps are in universal time.
TEST_F(Surroundings, TheTimeZoneNamesTheRunFolderAlone) {
    install();
    service.setBehaviour({.status = 503});
    auto options = program();
    options.variables.emplace_back("TZ", "TEST-7:30");
    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(run(options), exited(0));
    const auto stamped = [](const QByteArray &text, const char *form) {
        struct tm parts {};
        ::strptime(text.constData(), form, &parts);
        return ::timegm(&parts);
    };
    const std::time_t folder = stamped(QByteArray::fromStdString(runFolder().filename()), "%Y%m%d%H%M%S");
    EXPECT_LE(std::abs(static_cast<double>(folder - now) - 7.5 * 3600), 20);
    const std::time_t line = stamped(readFile(logFile()), "%Y-%m-%d %H:%M:%S +0000");
    EXPECT_LE(std::abs(static_cast<double>(line - now)), 20);
}

TEST_F(Surroundings, ARelativeHomeIsNone) {
    REQUIRE_OWN_NAMESPACES();
    // The password database's home, of which only the test's own copy is seen here.
    const fs::path real = ::getpwuid(::geteuid())->pw_dir;
    const fs::path stand = home.path() / "stand-in";
    sample_product::makeSampleProduct(stand, smallProduct());
    const Mount over = Mount::over(stand, real);
    fs::create_directories(home.path() / "work");
    auto options = program();
    options.workingFolder = home.path() / "work";
    options.variables.emplace_back("HOME", "relative");
    EXPECT_EQ(run(options), exited(0));
    EXPECT_TRUE(fs::is_empty(home.path() / "work"));
    EXPECT_TRUE(fs::exists(stand / ".local/share/Library/LumadocDiagnostics/System"));
    EXPECT_TRUE(received().contains("Lumadoc/LumaLog/Lumadoc-1.log"));
}
