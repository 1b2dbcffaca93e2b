#include "discovery/RunState.h"

#include "test_support/LoggedTest.h"

#include <QDateTime>
#include <QRegularExpression>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::writeFile;
using testing::ElementsAre;

class WorkspaceOfARun : public test_support::LoggedTest {
protected:
    fs::path root = home.library() / "LumadocDiagnostics";
};

TEST_F(WorkspaceOfARun, IsATreeForTheUserAloneWithARunFolderNamedByTheLocalTimeAndALineForEachFolder) {
    const test_support::ScopedEnvironment zone("TZ", "Asia/Tokyo");
    SetUserFilesFolder();
    EXPECT_FALSE(userFilesURL);
    const auto before = QDateTime::currentDateTime();
    ASSERT_TRUE(CreateOutputDirectories());
    EXPECT_EQ(userLibraryURL, home.library());
    EXPECT_EQ(userLibraryPrefURL, home.library() / "Preferences");
    EXPECT_EQ(tempDirURL, root);
    EXPECT_EQ(tempSystemURL, root / "System");
    EXPECT_EQ(temptempURL, root / "temp");
    EXPECT_EQ(tempTimeStampedURL->parent_path(), root / "Output");
    EXPECT_EQ(tempOutputURL, tempTimeStampedURL);
    EXPECT_FALSE(userFilesURL || compressedLogURL || lumamonLogFileURL);
    SetUserFilesFolder();
    EXPECT_EQ(userFilesURL, *tempOutputURL / "UserFiles");
    EXPECT_FALSE(fs::exists(*userFilesURL));
    constexpr auto others = fs::perms::group_all | fs::perms::others_all;
    for (const auto &folder : {*tempDirURL, *tempSystemURL, *temptempURL, *tempTimeStampedURL}) {
        EXPECT_TRUE(fs::is_directory(folder)) << folder;
        EXPECT_EQ(fs::status(folder).permissions() & others, fs::perms::none) << folder;
    }
    const QString stamp = QString::fromStdString(tempTimeStampedURL->filename());
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{14}$")).match(stamp).hasMatch());
    const auto age = before.secsTo(QDateTime::fromString(stamp, QStringLiteral("yyyyMMddHHmmss")));
    EXPECT_TRUE(age >= -1 && age <= 5) << age;
    const std::string start = "INFO: LumadocDiagnostics Directory: " + root.native();
    EXPECT_THAT(said(), ElementsAre(start, "INFO: Directory created: " + tempTimeStampedURL->native(),
                                    "INFO: Directory created: System", "INFO: Directory created: temp"));

    // A later run makes only its run folder.
    fs::rename(*tempTimeStampedURL, root / "Output/20200101000000");
    fs::remove(log);
    ASSERT_TRUE(CreateOutputDirectories());
    EXPECT_THAT(said(), ElementsAre(start, "INFO: Directory created: " + tempTimeStampedURL->native()));
    // Within the same second it shares that.
    for (OptionalURL first; first != tempTimeStampedURL;) {
        first = tempTimeStampedURL;
        fs::remove(log);
        ASSERT_TRUE(CreateOutputDirectories());
    }
    EXPECT_THAT(said(), ElementsAre(start));
    EXPECT_TRUE(fs::exists(root / "Output/20200101000000"));
}

TEST_F(WorkspaceOfARun, TakesTheLogInWhenARunBegins) {
    BeginRun();
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(lumamonLogFileURL, root / "System/LumadocDiagnosticsDebugOutput.log");
    log = *lumamonLogFileURL;
    EXPECT_EQ(said().size(), 4U);
}

TEST_F(WorkspaceOfARun, MayBeMissingWhenARunBeginsAndThenKeepsTheLocations) {
    writeFile(root / "Output", "a file where the folder should be");
    BeginRun();
    EXPECT_THAT(said(), ElementsAre(testing::_, "ERROR: Failed to create the initial directories.",
                                    "ERROR: Application terminated"));
    EXPECT_TRUE(tempOutputURL && tempSystemURL && temptempURL && !lumamonLogFileURL);
    EXPECT_FALSE(fs::exists(root / "System") || fs::exists(root / "temp"));
}

TEST(RunState, HasALowerCaseRandomUuidAsLogIdAndTheExtensionsThatMayGoIntoTheArchive) {
    static const QRegularExpression lowerCaseUuid(
        QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"));
    EXPECT_TRUE(lowerCaseUuid.match(UniqueId).hasMatch());
    EXPECT_EQ(allowedExtensions.join(u' '),
              QStringLiteral(
                  ".pml .dmp .zip .log .csv .plist .xml .reg .kwdlogcontrolconfig .txt .bat .lic .tmp .json "
                  ".png .jpeg .jpg .pdf .docx .doc .xlsx .xls .ppt .pptx .ips"));
}

} // namespace
