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

    // Makes each file below the Library folder, with its path as its content.
    void makeSources(const std::vector<fs::path> &names) const {
        for (const fs::path &name : names)
            writeFile(library / name, QByteArray::fromStdString(name));
    }

    fs::path library = home.library();
    fs::path out = home.path() / "out";
};

std::string missing(const std::string &name) {
    return "ERROR: Error copying " + name + ": No such file or directory";
}

TEST_F(Collectors, TakeTheProductsCrashReportsUpToOneMebibyte) {
    makeSources({"Logs/DiagnosticReports/Lumacef_1.ips", "Logs/DiagnosticReports/Other_1.ips"});
    GetCrashReports();
    EXPECT_TRUE(fs::exists(out / "DiagnosticReports/Lumacef_1.ips"));
    EXPECT_FALSE(fs::exists(out / "DiagnosticReports/Other_1.ips"));
    EXPECT_THAT(said(), ElementsAre("INFO: Total [\"lumacef\"] files found: 1. Copying: 1 of size 0 kb. "
                                    "MaxFileCopyCount: 100"));
    writeFile(library / "Logs/DiagnosticReports/lumacef_2.ips", QByteArray(1'048'577, 'x'));
    GetCrashReports();
    EXPECT_FALSE(fs::exists(out / "DiagnosticReports/lumacef_2.ips"));
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
    const fs::path reporter = "PropertyList/com.brennic.crashreporter.plist";
    makeSources({"Preferences/com.brennic.Pelx.plist", "Preferences/com.brennic.LumadocPE.plist",
                 "Preferences/com.brennic.crashreporter.plist"});
    EXPECT_FALSE(GetPropertyList());
    EXPECT_FALSE(fs::exists(out) || fs::exists(log));

    LumadocInstalledInstance = {LumadocBundleIdentifier};
    LumadocRunningInstance = {PellixBundleIdentifier};
    EXPECT_TRUE(GetPropertyList());
    EXPECT_TRUE(fs::exists(out / "PropertyList/com.brennic.Pelx.plist"));
    EXPECT_FALSE(fs::exists(out / "PropertyList/com.brennic.LumadocPE.plist"));
    EXPECT_EQ(readFile(out / reporter), "Preferences/com.brennic.crashreporter.plist");

    LumadocRunningInstance.clear();
    fs::remove(library / "Preferences/com.brennic.crashreporter.plist");
    EXPECT_TRUE(GetPropertyList());
    EXPECT_EQ(readFile(out / "PropertyList/com.brennic.LumadocPE.plist"),
              "Preferences/com.brennic.LumadocPE.plist");
    const std::string copied = "INFO: File copied successfully.";
    EXPECT_THAT(said(), ElementsAre(copied, copied, copied,
                                    "ERROR: Error while copying file: No such file or directory"));
}

TEST_F(Collectors, TakeLicensingLogsThatAreFilesAndFolders) {
    EXPECT_TRUE(GetLicensingLogs());
    EXPECT_TRUE(fs::is_directory(out / "LicensingLogs"));
    EXPECT_THAT(said(), ElementsAre(missing("lumaKWDLog.txt"), missing("distKWDLog.txt"), missing("KWD"),
                                    missing("lumacef_low")));
    makeSources({"Logs/lumaKWDLog.txt", "Logs/distKWDLog.txt", "Logs/KWD/a.log", "Logs/lumacef_low/b.log"});
    EXPECT_TRUE(GetLicensingLogs());
    for (const char *name : {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/a.log", "lumacef_low/b.log"})
        EXPECT_EQ(readFile(out / "LicensingLogs" / name), QByteArray("Logs/") + name);
    EXPECT_EQ(said().size(), 4U);
    // The copies are tried even when their folder cannot be made.
    fs::remove_all(out);
    writeFile(out, "a file in the way");
    EXPECT_TRUE(GetLicensingLogs());
    ASSERT_EQ(said().size(), 9U);
    EXPECT_EQ(said()[4], "ERROR: Error: Not a directory");
    EXPECT_EQ(said()[5], "ERROR: Error copying lumaKWDLog.txt: Not a directory");
}

TEST_F(Collectors, TakeInstallLogsOfTheUserAndOfTheSystem) {
    makeSources({"Logs/Brennic/Lumadoc Update Helper QZ.log", "Logs/Brennic/Lumadoc Updater QZ.log"});
    EXPECT_TRUE(GetInstallLogs());
    for (const char *name : {"Lumadoc Update Helper QZ.log", "Lumadoc Updater QZ.log"})
        EXPECT_EQ(readFile(out / "InstallLogs" / name), QByteArray("Logs/Brennic/") + name);
    if (fs::exists("/var/log/lumaUpdaterTools.log"))
        EXPECT_TRUE(fs::exists(out / "InstallLogs/lumaUpdaterTools.log"));
    else
        EXPECT_THAT(said(), ElementsAre(missing("lumaUpdaterTools.log")));
}

TEST_F(Collectors, TakeMessagingDataByEditionAndTrackUnderALicenceName) {
    const fs::path track = "Application Support/Brennic/Lumadoc/QZ";
    makeSources({track / "Trellis-ProMessages/m.log", track / "PellixMessages"});
    flavour = QStringLiteral("QZ");
    for (const char *edition : {"Lumadoc", "Pellix", "lumadoc"}) {
        lumadocOrPellix = QString::fromLatin1(edition);
        GetXelLogs();
    }
    EXPECT_TRUE(fs::exists(out / "XelLogs/Trellis-ProMessages.lic/m.log"));
    EXPECT_TRUE(fs::is_regular_file(out / "XelLogs/PellixMessages.lic"));
    EXPECT_THAT(said(), ElementsAre("ERROR: Error copying PellixMessages.lic: File exists"));
}

TEST_F(Collectors, EndTheProcessWithoutWhatMustBeKnown) {
    const testing::ExitedWithCode failed(1);
    EXPECT_EXIT(GetXelLogs(), failed, "The edition is not known");
    LumadocRunningInstance = {LumadocBundleIdentifier};
    tempOutputURL.reset();
    EXPECT_EXIT(GetPropertyList(), failed, "The output folder is not known");
    EXPECT_EXIT(GetLicensingLogs(), failed, "The output folder is not known");
    EXPECT_EXIT(GetInstallLogs(), failed, "The output folder is not known");
    userLibraryPrefURL.reset();
    EXPECT_EXIT(GetPropertyList(), failed, "The preferences folder is not known");
}

} // namespace
