#include "collection/Collectors.h"

#include "discovery/RunState.h"
#include "test_support/LoggedTest.h"

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::readFile;
using test_support::writeFile;
using testing::ElementsAre;

class Collectors : public test_support::LoggedTest {
protected:
    Collectors() {
        userLibraryURL = library;
        userLibraryPrefURL = library / "Preferences";
        tempOutputURL = out;
    }

    // Makes a file below the Library folder, with its path as its content.
    void makeSource(const std::string &name) const {
        writeFile(library / name, QByteArray::fromStdString(name));
    }

    fs::path library = home.library();
    fs::path out = home.path() / "out";
};

TEST_F(Collectors, FollowSourcesThatTheUserMadeLinks) {
    const std::string preferences = "com.brennic.LumadocPE.plist";
    const std::pair<std::string, std::string> links[] = {
        {"Preferences/" + preferences, "PropertyList/" + preferences},
        {"Logs/lumaKWDLog.txt", "LicensingLogs/lumaKWDLog.txt"},
        {"Logs/Brennic/Lumadoc Updater QZ.log", "InstallLogs/Lumadoc Updater QZ.log"},
        {"Application Support/Brennic/Lumadoc/Trunk/PellixMessages", "XelLogs/PellixMessages.lic"},
    };
    for (const auto &[source, copy] : links) {
        makeSource("elsewhere/" + source);
        fs::create_directories((library / source).parent_path());
        fs::create_symlink(library / "elsewhere" / source, library / source);
    }
    LumadocInstalledInstance = {LumadocBundleIdentifier};
    lumadocOrPellix = QStringLiteral("Pellix");
    EXPECT_TRUE(GetPropertyList() && GetLicensingLogs() && GetInstallLogs());
    GetXelLogs();
    for (const auto &[source, copy] : links) {
        EXPECT_FALSE(fs::is_symlink(out / copy)) << copy;
        EXPECT_EQ(readFile(out / copy).toStdString(), "elsewhere/" + source);
    }
}

// What is said of sources that are missing is tested with the whole capture.
TEST_F(Collectors, TakeEachSourceToItsPlace) {
    EXPECT_EXIT(GetXelLogs(), testing::ExitedWithCode(1), "The edition is not known");
    const std::string track = "Application Support/Brennic/Lumadoc/QZ/";
    const std::pair<std::string, std::string> copies[] = {
        {"Logs/DiagnosticReports/Lumacef_1.ips", "DiagnosticReports/Lumacef_1.ips"},
        {"Logs/lumaKWDLog.txt", "LicensingLogs/lumaKWDLog.txt"},
        {"Logs/distKWDLog.txt", "LicensingLogs/distKWDLog.txt"},
        {"Logs/KWD/a.log", "LicensingLogs/KWD/a.log"},
        {"Logs/lumacef_low/b.log", "LicensingLogs/lumacef_low/b.log"},
        {"Logs/Brennic/Lumadoc Update Helper QZ.log", "InstallLogs/Lumadoc Update Helper QZ.log"},
        {"Logs/Brennic/Lumadoc Updater QZ.log", "InstallLogs/Lumadoc Updater QZ.log"},
        {track + "Trellis-ProMessages/m.log", "XelLogs/Trellis-ProMessages.lic/m.log"},
        {track + "PellixMessages", "XelLogs/PellixMessages.lic"},
    };
    for (const auto &[source, copy] : copies)
        makeSource(source);
    makeSource("Logs/DiagnosticReports/Other_1.ips");
    GetCrashReports();
    writeFile(library / "Logs/DiagnosticReports/lumacef_2.ips", QByteArray(1'048'577, 'x'));
    GetCrashReports();
    EXPECT_TRUE(GetLicensingLogs() && GetInstallLogs());
    flavour = QStringLiteral("QZ");
    for (const char *edition : {"Lumadoc", "lumadoc"}) {
        lumadocOrPellix = QString::fromLatin1(edition);
        GetXelLogs();
    }
    for (const auto &[source, copy] : copies)
        EXPECT_EQ(readFile(out / copy).toStdString(), source);
    EXPECT_EQ(std::distance(fs::directory_iterator(out / "DiagnosticReports"), {}), 1)
        << "one mebibyte, and no reports of others";
    EXPECT_EQ(said()[0],
              "INFO: Total [\"lumacef\"] files found: 1. Copying: 1 of size 0 kb. MaxFileCopyCount: 100");
}

TEST_F(Collectors, TryTheCopiesEvenWhenTheirFolderCannotBeMade) {
    writeFile(out, "a file in the way");
    EXPECT_TRUE(GetLicensingLogs());
    ASSERT_EQ(said().size(), 5U);
    EXPECT_EQ(said()[0], "ERROR: Error: Not a directory");
    EXPECT_EQ(said()[1], "ERROR: Error copying lumaKWDLog.txt: Not a directory");
}

TEST_F(Collectors, TakeThisProgramsLogUnderItsName) {
    CopyLumamonLogFile();
    lumamonLogFileURL = home.path() / "System/own.log";
    writeFile(*lumamonLogFileURL, "lines");
    CopyLumamonLogFile();
    EXPECT_EQ(readFile(out / "own.log"), "lines");
    tempOutputURL.reset();
    CopyLumamonLogFile();
    const std::string notFound = "INFO: Unable to find copy LumadocDiagnostics log file. ";
    EXPECT_THAT(said(), ElementsAre(notFound, notFound));
}

TEST_F(Collectors, TakeThePreferencesOfTheRunningProductElseOfTheInstalledOne) {
    const std::string pellix = "com.brennic.Pelx.plist";
    const std::string lumadoc = "com.brennic.LumadocPE.plist";
    const std::string reporter = "com.brennic.crashreporter.plist";
    for (const std::string &name : {pellix, lumadoc, reporter})
        makeSource("Preferences/" + name);
    const auto copied = [&](const std::string &name) { return fs::exists(out / "PropertyList" / name); };
    EXPECT_FALSE(GetPropertyList());
    EXPECT_FALSE(fs::exists(out) || fs::exists(log));

    LumadocInstalledInstance = {LumadocBundleIdentifier};
    LumadocRunningInstance = {PellixBundleIdentifier};
    EXPECT_TRUE(GetPropertyList());
    EXPECT_TRUE(copied(pellix) && copied(reporter) && !copied(lumadoc));

    LumadocRunningInstance.clear();
    fs::remove(library / "Preferences" / reporter);
    EXPECT_TRUE(GetPropertyList());
    EXPECT_TRUE(copied(lumadoc));
    const std::string line = "INFO: File copied successfully.";
    EXPECT_THAT(said(),
                ElementsAre(line, line, line, "ERROR: Error while copying file: No such file or directory"));
}

} // namespace
