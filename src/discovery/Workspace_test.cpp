#include "discovery/Workspace.h"

#include "discovery/Constants.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <QDateTime>
#include <QRegularExpression>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::logLines;
using test_support::ScratchHome;

QString text(const fs::path &path) {
    return QString::fromStdString(path.native());
}

class WorkspaceTest : public testing::Test {
protected:
    ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path root = home.library() / "LumadocDiagnostics";
};

TEST_F(WorkspaceTest, MakesTheTreeAndTellsOfEachFolderThatItMade) {
    ASSERT_TRUE(CreateOutputDirectories());

    EXPECT_EQ(*userLibraryURL, home.library());
    EXPECT_EQ(*userLibraryPrefURL, home.library() / "Preferences");
    EXPECT_EQ(*tempDirURL, root);
    EXPECT_EQ(*tempSystemURL, root / "System");
    EXPECT_EQ(*temptempURL, root / "temp");
    EXPECT_EQ(tempTimeStampedURL->parent_path(), root / "Output");
    EXPECT_EQ(*tempOutputURL, *tempTimeStampedURL);
    EXPECT_FALSE(userFilesURL || compressedLogURL || lumamonLogFileURL);
    for (const auto &folder : {*tempSystemURL, *temptempURL, *tempTimeStampedURL})
        EXPECT_TRUE(fs::is_directory(folder)) << folder;
    EXPECT_EQ(logLines(log), (QStringList{
                                 QStringLiteral("INFO: LumadocDiagnostics Directory: ") + text(root),
                                 QStringLiteral("INFO: Directory created: ") + text(*tempTimeStampedURL),
                                 QStringLiteral("INFO: Directory created: System"),
                                 QStringLiteral("INFO: Directory created: temp"),
                             }));
}

TEST_F(WorkspaceTest, NamesTheRunFolderByTheLocalTime) {
    const test_support::ScopedEnvironment zone("TZ", "Asia/Tokyo");
    const auto before = QDateTime::currentDateTime();
    ASSERT_TRUE(CreateOutputDirectories());
    const QString stamp = text(tempTimeStampedURL->filename());
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{14}$")).match(stamp).hasMatch())
        << stamp.toStdString();
    const auto made = QDateTime::fromString(stamp, QStringLiteral("yyyyMMddHHmmss"));
    EXPECT_LE(before.secsTo(made), 5);
    EXPECT_GE(before.secsTo(made), -1);
}

TEST_F(WorkspaceTest, NobodyElseMayLookIntoTheTree) {
    ASSERT_TRUE(CreateOutputDirectories());
    constexpr auto others = fs::perms::group_all | fs::perms::others_all;
    for (const auto &folder : {*tempDirURL, *tempSystemURL, *temptempURL, *tempTimeStampedURL})
        EXPECT_EQ(fs::status(folder).permissions() & others, fs::perms::none) << folder;
}

TEST_F(WorkspaceTest, AnExistingTreeGetsOnlyANewRunFolder) {
    for (const char *folder : {"System", "temp", "Output/20200101000000"})
        fs::create_directories(root / folder);
    ASSERT_TRUE(CreateOutputDirectories());
    EXPECT_EQ(logLines(log).mid(1),
              QStringList{QStringLiteral("INFO: Directory created: ") + text(*tempTimeStampedURL)});
    EXPECT_TRUE(fs::exists(root / "Output/20200101000000"));
}

TEST_F(WorkspaceTest, TwoRunsWithinOneSecondShareTheirFolder) {
    fs::path first;
    fs::path second;
    // The clock may move on between the two.
    for (int attempt = 0; attempt < 5 && (first.empty() || first != second); ++attempt) {
        ASSERT_TRUE(CreateOutputDirectories());
        first = *tempTimeStampedURL;
        ASSERT_TRUE(CreateOutputDirectories());
        second = *tempTimeStampedURL;
    }
    EXPECT_EQ(first, second);
}

TEST_F(WorkspaceTest, AFolderThatCannotBeMadeEndsItWithOneErrorAndTheLocationsStay) {
    test_support::writeFile(root, "a file where the folder should be");
    EXPECT_FALSE(CreateOutputDirectories());
    EXPECT_EQ(logLines(log).last(), QStringLiteral("ERROR: Failed to create the initial directories."));
    EXPECT_EQ(*tempSystemURL, root / "System");
    EXPECT_TRUE(tempOutputURL && temptempURL);
}

TEST_F(WorkspaceTest, TheFoldersBehindTheOneThatFailedAreNotTried) {
    fs::create_directories(root);
    test_support::writeFile(root / "Output", "");
    EXPECT_FALSE(CreateOutputDirectories());
    EXPECT_FALSE(fs::exists(root / "System"));
    EXPECT_FALSE(fs::exists(root / "temp"));
}

TEST_F(WorkspaceTest, ARunBeginsWithItsWorkspaceAndTheLogInIt) {
    BeginRun();
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(lumamonLogFileURL, root / "System/LumadocDiagnosticsDebugOutput.log");
    EXPECT_EQ(logLines(*lumamonLogFileURL).size(), 4);
    EXPECT_TRUE(isOutputDirectoryCreated);
}

TEST_F(WorkspaceTest, ARunGoesOnWithoutAWorkspaceAndLogsWhereItDid) {
    test_support::writeFile(root, "a file where the folder should be");
    BeginRun();
    EXPECT_EQ(logLines(log).last(), QStringLiteral("ERROR: Application terminated"));
    EXPECT_FALSE(lumamonLogFileURL);
    EXPECT_TRUE(isOutputDirectoryCreated);
}

TEST_F(WorkspaceTest, UserFilesFolderLiesInTheOutputFolderAndIsNotMade) {
    ASSERT_TRUE(CreateOutputDirectories());
    SetUserFilesFolder();
    EXPECT_EQ(*userFilesURL, *tempOutputURL / "UserFiles");
    EXPECT_FALSE(fs::exists(*userFilesURL));
}

TEST_F(WorkspaceTest, UserFilesFolderHasNoPlaceBeforeThereIsAnOutputFolder) {
    SetUserFilesFolder();
    EXPECT_FALSE(userFilesURL);
}

TEST(RunState, LogIdIsALowerCaseUuidThatStays) {
    const QString first = UniqueId;
    EXPECT_TRUE(QRegularExpression(
                    QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"))
                    .match(first)
                    .hasMatch());
    EXPECT_EQ(first, UniqueId);
}

TEST(RunState, AllowedExtensionsAreThe25InTheirOrder) {
    EXPECT_EQ(allowedExtensions.join(u' '),
              QStringLiteral(
                  ".pml .dmp .zip .log .csv .plist .xml .reg .kwdlogcontrolconfig .txt .bat .lic .tmp .json "
                  ".png .jpeg .jpg .pdf .docx .doc .xlsx .xls .ppt .pptx .ips"));
}

TEST(RunState, ProductIdentifiersHaveTheirLengthsAndOrder) {
    EXPECT_EQ(LumadocBundleIdentifier.size(), 21);
    EXPECT_EQ(PellixBundleIdentifier.size(), 16);
    EXPECT_EQ(LumadocBundleIndentifiers, (QStringList{LumadocBundleIdentifier, PellixBundleIdentifier}));
}

TEST(RunState, StartsEmpty) {
    EXPECT_FALSE(userLibraryURL || userLibraryPrefURL || tempDirURL || tempSystemURL || tempTimeStampedURL ||
                 tempOutputURL || temptempURL || userFilesURL || compressedLogURL || lumamonLogFileURL ||
                 LumadocInstalledUrlUsed || lumadocOrPellix);
    EXPECT_EQ(ProcessId + LumadocVersion + LumamonAppVersion, QString());
    EXPECT_EQ(flavour, QStringLiteral("Trunk"));
    EXPECT_TRUE(LumadocRunningInstance.isEmpty() && LumadocInstalledInstance.isEmpty());
    EXPECT_TRUE(lumadocInstalledUrls.empty() && pellixInstalledUrls.empty());
    EXPECT_FALSE(IsSilentMode || isOutputDirectoryCreated || ShareButtonPressed);
    EXPECT_EQ(RemovedFilesCount, 0);
}

TEST(Constants, TextsAreAsTheWindowAndTheLogShowThem) {
    EXPECT_EQ(
        LabelConstants::MultipleLumadocRunningDesc,
        QStringLiteral("Please ensure that only one Lumadoc app which needs troubleshooting is open, before "
                       "running Brennic Lumadoc Diagnostics."));
    EXPECT_EQ(LogConstants::LumamonLogNotFound,
              QStringLiteral("Unable to find copy LumadocDiagnostics log file. "));
    EXPECT_EQ(ConstantsFolder::LumalogPath.arg(QStringLiteral("Trunk"), QStringLiteral("Lumadoc")),
              QStringLiteral("Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog"));
    EXPECT_EQ(std::string(ConstantsFolder::DebugOutputLogFile), "LumadocDiagnosticsDebugOutput.log");
    EXPECT_EQ(Constants::AttachFileButtonWidth, 96.0);
}

} // namespace
