#include "discovery/TextFile.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using test_support::logLines;
using UtilityFunctions::CreateFile;

class TextFileTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path file = home.path() / "record.json";
};

TEST_F(TextFileTest, WritesTheTextForTheUserAlone) {
    CreateFile(file, QStringLiteral("grüße"));
    EXPECT_EQ(test_support::readFile(file), "gr\xc3\xbc\xc3\x9f"
                                            "e");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: File created and content written successfully.")});
}

TEST_F(TextFileTest, ReplacesAnExistingFile) {
    test_support::writeFile(file, "something longer than what comes");
    CreateFile(file, QStringLiteral("new"));
    EXPECT_EQ(test_support::readFile(file), "new");
}

TEST_F(TextFileTest, MakesNoFileWithoutContentOrWithoutAPlaceAndSaysNothing) {
    CreateFile(file, QString());
    CreateFile(std::nullopt, QStringLiteral("text"));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(TextFileTest, APlaceWhereNoFileCanBeMadeIsAnError) {
    CreateFile(home.path() / "missing" / "record.json", QStringLiteral("text"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Failed to create the file.")});
}

TEST_F(TextFileTest, AFolderInThePlaceIsNotReplaced) {
    fs::create_directories(file / "inside");
    CreateFile(file, QStringLiteral("text"));
    EXPECT_TRUE(fs::exists(file / "inside"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Failed to create the file.")});
}

} // namespace
