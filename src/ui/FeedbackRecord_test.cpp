#include "ui/FeedbackRecord.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using test_support::logLines;
using test_support::readFile;
using UtilityFunctions::CreateUserDetailContent;
using UtilityFunctions::tempOutputURL;

class FeedbackRecordTest : public testing::Test {
protected:
    FeedbackRecordTest() {
        fs::create_directories(home.path() / "out");
        tempOutputURL = home.path() / "out";
    }

    QByteArray expected(const QByteArray &email, const QByteArray &feedback) const {
        return "{\"machineid\":\"" + UtilityFunctions::getMachineHash().toUtf8() + "\",\"email\":\"" + email +
               "\",\"problemdesc\":\"" + feedback + "\"}";
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path record = home.path() / "out/UserEmailFeedback.json";
};

TEST_F(FeedbackRecordTest, HoldsMachineAddressAndDescriptionInThisOrder) {
    CreateUserDetailContent(QStringLiteral("user@example.com"), QStringLiteral("It crashed"));
    EXPECT_EQ(readFile(record), expected("user@example.com", "It crashed"));
    EXPECT_EQ(readFile(record).indexOf("\",\"email\""), 14 + 128);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: File created and content written successfully.")});
}

TEST_F(FeedbackRecordTest, IsTheUsersAlone) {
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    struct stat status {};
    ASSERT_EQ(::stat(record.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(FeedbackRecordTest, AnAddressWithoutADotBehindTheAtSignIsLeftOut) {
    CreateUserDetailContent(QStringLiteral("user@example"), QStringLiteral("It crashed"));
    EXPECT_EQ(readFile(record), expected("", "It crashed"));
}

TEST_F(FeedbackRecordTest, AnEmptyAddressIsOne) {
    CreateUserDetailContent(QString(), QStringLiteral("It crashed"));
    EXPECT_EQ(readFile(record), expected("", "It crashed"));
}

TEST_F(FeedbackRecordTest, NothingIsEscaped) {
    CreateUserDetailContent(QString(), QStringLiteral("a \"quoted\" \\ back\nline\ttab é \U0001F600 %1 %2"));
    EXPECT_EQ(readFile(record), expected("", "a \"quoted\" \\ back\nline\ttab é \U0001F600 %1 %2"));
}

TEST_F(FeedbackRecordTest, ReplacesAnEarlierOne) {
    test_support::writeFile(record, "a much longer record that stood here before " + QByteArray(500, 'x'));
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_EQ(readFile(record), expected("", "x"));
}

TEST_F(FeedbackRecordTest, WithoutAnOutputFolderNothingIsWritten) {
    tempOutputURL.reset();
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_TRUE(fs::is_empty(home.path() / "out"));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(FeedbackRecordTest, AFolderThatIsGoneIsOneLine) {
    fs::remove_all(home.path() / "out");
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Failed to create the file.")});
}

} // namespace
