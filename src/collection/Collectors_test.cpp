#include "collection/Collectors.h"

#include "discovery/RunState.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::logLines;
using test_support::readFile;
using test_support::writeFile;

class CollectorsTest : public testing::Test {
protected:
    CollectorsTest() {
        userLibraryURL = library;
        userLibraryPrefURL = library / "Preferences";
        tempOutputURL = out;
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path library = home.library();
    fs::path out = home.path() / "out";
    QString copied = QStringLiteral("INFO: File copied successfully.");
};

QString missing(const char *name) {
    return QStringLiteral("ERROR: Error copying %1: No such file or directory")
        .arg(QString::fromLatin1(name));
}

TEST_F(CollectorsTest, CrashReportsOfTheProductAreTaken) {
    writeFile(library / "Logs/DiagnosticReports/Lumacef_1.ips", "report");
    writeFile(library / "Logs/DiagnosticReports/Other_1.ips", "other");
    GetCrashReports();
    EXPECT_EQ(readFile(out / "DiagnosticReports/Lumacef_1.ips"), "report");
    EXPECT_FALSE(fs::exists(out / "DiagnosticReports/Other_1.ips"));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Total [\"lumacef\"] files found: 1. Copying: 1 of size 0 "
                                         "kb. MaxFileCopyCount: 100")});
}

TEST_F(CollectorsTest, CrashReportsAreBoundedToOneMebibyte) {
    writeFile(library / "Logs/DiagnosticReports/lumacef_1.ips", QByteArray(1'048'577, 'x'));
    GetCrashReports();
    EXPECT_FALSE(fs::exists(out / "DiagnosticReports/lumacef_1.ips"));
}

TEST_F(CollectorsTest, OwnLogIsCopiedUnderItsName) {
    lumamonLogFileURL = home.path() / "System/own.log";
    writeFile(*lumamonLogFileURL, "lines");
    CopyLumamonLogFile();
    EXPECT_EQ(readFile(out / "own.log"), "lines");
}

TEST_F(CollectorsTest, OwnLogWithoutAPlaceIsToldAndPassedOver) {
    CopyLumamonLogFile();
    lumamonLogFileURL = home.path() / "own.log";
    tempOutputURL.reset();
    CopyLumamonLogFile();
    const QString line = QStringLiteral("INFO: Unable to find copy LumadocDiagnostics log file. ");
    EXPECT_EQ(logLines(log), (QStringList{line, line}));
}

TEST_F(CollectorsTest, PreferencesOfTheRunningProductGoFirst) {
    LumadocRunningInstance = {PellixBundleIdentifier};
    LumadocInstalledInstance = {LumadocBundleIdentifier};
    writeFile(library / "Preferences/com.brennic.Pelx.plist", "pellix");
    writeFile(library / "Preferences/com.brennic.LumadocPE.plist", "lumadoc");
    writeFile(library / "Preferences/com.brennic.crashreporter.plist", "reporter");
    EXPECT_TRUE(GetPropertyList());
    EXPECT_EQ(readFile(out / "PropertyList/com.brennic.Pelx.plist"), "pellix");
    EXPECT_EQ(readFile(out / "PropertyList/com.brennic.crashreporter.plist"), "reporter");
    EXPECT_FALSE(fs::exists(out / "PropertyList/com.brennic.LumadocPE.plist"));
    EXPECT_EQ(logLines(log), (QStringList{copied, copied}));
}

TEST_F(CollectorsTest, PreferencesOfAnInstalledProductServeWhenNoneRuns) {
    LumadocInstalledInstance = {LumadocBundleIdentifier};
    writeFile(library / "Preferences/com.brennic.LumadocPE.plist", "lumadoc");
    EXPECT_TRUE(GetPropertyList());
    EXPECT_EQ(readFile(out / "PropertyList/com.brennic.LumadocPE.plist"), "lumadoc");
    EXPECT_EQ(
        logLines(log),
        (QStringList{copied, QStringLiteral("ERROR: Error while copying file: No such file or directory")}));
}

TEST_F(CollectorsTest, PreferencesOfNobodyAreNotCopied) {
    writeFile(library / "Preferences/com.brennic.crashreporter.plist", "reporter");
    EXPECT_FALSE(GetPropertyList());
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(CollectorsTest, LicensingLogsAreFilesAndFolders) {
    for (const char *name : {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/a.log", "lumacef_low/b.log"})
        writeFile(library / "Logs" / name, name);
    EXPECT_TRUE(GetLicensingLogs());
    for (const char *name : {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/a.log", "lumacef_low/b.log"})
        EXPECT_EQ(readFile(out / "LicensingLogs" / name), name);
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(CollectorsTest, MissingLicensingLogsAreOneLineEach) {
    EXPECT_TRUE(GetLicensingLogs());
    EXPECT_TRUE(fs::is_directory(out / "LicensingLogs"));
    EXPECT_EQ(logLines(log), (QStringList{missing("lumaKWDLog.txt"), missing("distKWDLog.txt"),
                                          missing("KWD"), missing("lumacef_low")}));
}

TEST_F(CollectorsTest, AFolderThatCannotBeMadeIsToldAndTheCopiesAreStillTried) {
    writeFile(out, "a file in the way");
    writeFile(library / "Logs/lumaKWDLog.txt", "text");
    EXPECT_TRUE(GetLicensingLogs());
    const QStringList lines = logLines(log);
    ASSERT_EQ(lines.size(), 5);
    EXPECT_EQ(lines.first(), QStringLiteral("ERROR: Error: Not a directory"));
    EXPECT_EQ(lines.at(1), QStringLiteral("ERROR: Error copying lumaKWDLog.txt: Not a directory"));
}

TEST_F(CollectorsTest, InstallLogsComeFromTheUserAndFromTheSystem) {
    writeFile(library / "Logs/Brennic/Lumadoc Update Helper QZ.log", "helper");
    writeFile(library / "Logs/Brennic/Lumadoc Updater QZ.log", "updater");
    EXPECT_TRUE(GetInstallLogs());
    EXPECT_EQ(readFile(out / "InstallLogs/Lumadoc Update Helper QZ.log"), "helper");
    EXPECT_EQ(readFile(out / "InstallLogs/Lumadoc Updater QZ.log"), "updater");
    if (fs::exists("/var/log/lumaUpdaterTools.log"))
        EXPECT_TRUE(fs::exists(out / "InstallLogs/lumaUpdaterTools.log"));
    else
        EXPECT_EQ(logLines(log), QStringList{missing("lumaUpdaterTools.log")});
}

TEST_F(CollectorsTest, MessagingLogsAreTakenByEditionAndTrackUnderALicenceName) {
    writeFile(library / "Application Support/Brennic/Lumadoc/QZ/Trellis-ProMessages/m.log", "lumadoc");
    writeFile(library / "Application Support/Brennic/Lumadoc/QZ/PellixMessages", "pellix");
    flavour = QStringLiteral("QZ");
    lumadocOrPellix = QStringLiteral("Lumadoc");
    GetXelLogs();
    lumadocOrPellix = QStringLiteral("Pellix");
    GetXelLogs();
    EXPECT_EQ(readFile(out / "XelLogs/Trellis-ProMessages.lic/m.log"), "lumadoc");
    EXPECT_EQ(readFile(out / "XelLogs/PellixMessages.lic"), "pellix");
    lumadocOrPellix = QStringLiteral("lumadoc");
    GetXelLogs();
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error copying PellixMessages.lic: File exists")});
}

TEST_F(CollectorsTest, WhatMustBeKnownAndIsNotEndsTheProcess) {
    EXPECT_EXIT(GetXelLogs(), testing::ExitedWithCode(1), "The edition is not known");
    LumadocRunningInstance = {LumadocBundleIdentifier};
    tempOutputURL.reset();
    EXPECT_EXIT(GetPropertyList(), testing::ExitedWithCode(1), "The output folder is not known");
    EXPECT_EXIT(GetLicensingLogs(), testing::ExitedWithCode(1), "The output folder is not known");
    EXPECT_EXIT(GetInstallLogs(), testing::ExitedWithCode(1), "The output folder is not known");
    userLibraryPrefURL.reset();
    EXPECT_EXIT(GetPropertyList(), testing::ExitedWithCode(1), "The preferences folder is not known");
}

} // namespace
