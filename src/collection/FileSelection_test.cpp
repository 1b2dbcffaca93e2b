#include "collection/FileSelection.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test_support::logLines;
using test_support::writeFile;
using UtilityFunctions::copyFilesContainingName;

FileRecord record(const char *name, std::chrono::seconds age, std::uint64_t sizeBytes) {
    return {name, std::chrono::sys_time<std::chrono::nanoseconds>(1'000'000s - age), sizeBytes};
}

std::vector<std::string> names(const Selection &selection) {
    std::vector<std::string> result;
    for (const auto &taken : selection.taken)
        result.push_back(taken.name);
    return result;
}

using Names = std::vector<std::string>;

TEST(Selection, TakesTheNewestFirst) {
    EXPECT_EQ(names(selectNewest({record("old", 3s, 1), record("new", 1s, 1), record("middle", 2s, 1)}, 100)),
              (Names{"new", "middle", "old"}));
}

TEST(Selection, KeepsTheListingOrderOfEqualDates) {
    EXPECT_EQ(names(selectNewest({record("b", 1s, 1), record("a", 1s, 1), record("c", 1s, 1)}, 100)),
              (Names{"b", "a", "c"}));
}

TEST(Selection, AFileWithoutADateIsTheOldest) {
    FileRecord undated = record("undated", 0s, 1);
    undated.creationDate = std::chrono::sys_time<std::chrono::nanoseconds>::min();
    EXPECT_EQ(names(selectNewest({undated, record("dated", 1s, 1)}, 100)), (Names{"dated", "undated"}));
}

TEST(Selection, StopsAtTheFirstFileOverTheLimitAndTakesNoSmallerOneBehindIt) {
    const auto selection = selectNewest(
        {record("a", 1s, 700'000), record("b", 2s, 400'000), record("c", 3s, 100'000)}, 1'048'576);
    EXPECT_EQ(names(selection), Names{"a"});
    EXPECT_EQ(selection.totalBytes, 700'000U);
}

TEST(Selection, TheLimitItselfIsAllowed) {
    EXPECT_EQ(names(selectNewest({record("a", 1s, 60), record("b", 2s, 40)}, 100)), (Names{"a", "b"}));
    EXPECT_EQ(names(selectNewest({record("empty", 1s, 0)}, 0)), Names{"empty"});
}

TEST(Selection, ANegativeLimitTakesNothing) {
    EXPECT_TRUE(selectNewest({record("empty", 1s, 0)}, -1).taken.empty());
}

TEST(Selection, SizesThatCannotBeAddedUpEndTheProcess) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EXIT(selectNewest({record("a", 1s, static_cast<std::uint64_t>(most)),
                              record("b", 2s, std::numeric_limits<std::uint64_t>::max())},
                             most),
                testing::ExitedWithCode(1), "add up to more than can be counted");
}

TEST(NameMatch, IgnoresCaseAndTakesAnyPart) {
    const QStringList patterns{QStringLiteral("lumacef")};
    EXPECT_TRUE(containsAnyName("Lumacef_2024-01-02-101112_host.ips", patterns));
    EXPECT_TRUE(containsAnyName("LUMACEF.ips", patterns));
    EXPECT_TRUE(containsAnyName("the lumaCEF", patterns));
    EXPECT_TRUE(containsAnyName("\xff\xfeLumacef", patterns));
    EXPECT_FALSE(containsAnyName("Luma_cef", patterns));
}

TEST(NameMatch, OnePatternOfSeveralIsEnough) {
    EXPECT_TRUE(containsAnyName("b.txt", {QStringLiteral("a"), QStringLiteral("B")}));
    EXPECT_TRUE(containsAnyName("\xc3\x84rger", {QStringLiteral("ärger")}));
}

TEST(NameMatch, AnEmptyPatternMatchesNothing) {
    EXPECT_FALSE(containsAnyName("name", {QString()}));
    EXPECT_FALSE(containsAnyName("name", {}));
}

class CopyFilesContainingNameTest : public testing::Test {
protected:
    bool copy(int maxFileCount = 100, std::int64_t maxFileSize = 1'048'576) {
        return copyFilesContainingName(source, destination, maxFileCount, maxFileSize,
                                       {QStringLiteral("lumacef")});
    }
    // Files get their creation dates by being made one after the other.
    void make(const std::string &name, qsizetype size) {
        writeFile(source / name, QByteArray(size, 'x'));
        std::this_thread::sleep_for(5ms);
    }
    Names copied() const {
        Names result;
        if (fs::exists(destination))
            for (const auto &entry : fs::directory_iterator(destination))
                result.push_back(entry.path().filename());
        std::sort(result.begin(), result.end());
        return result;
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path source = home.path() / "reports";
    fs::path destination = home.path() / "out" / "DiagnosticReports";
};

TEST_F(CopyFilesContainingNameTest, CopiesTheNewestHundredOfManyAndCountsAllThatWereTaken) {
    for (int i = 0; i < 150; ++i) {
        writeFile(source / ("Lumacef_" + std::to_string(1000 + i) + ".ips"), QByteArray(5000, 'x'));
        std::this_thread::sleep_for(i < 50 || i > 51 ? 0ms : 20ms);
    }
    EXPECT_TRUE(copy());
    EXPECT_EQ(copied().size(), 100U);
    EXPECT_EQ(copied().back(), "Lumacef_1149.ips");
    EXPECT_FALSE(fs::exists(destination / "Lumacef_1000.ips"));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Total [\"lumacef\"] files found: 150. Copying: 100 of "
                                         "size 732 kb. MaxFileCopyCount: 100")});
}

TEST_F(CopyFilesContainingNameTest, StopsAtTheSizeLimit) {
    make("lumacef_c.ips", 100'000);
    make("lumacef_b.ips", 400'000);
    make("lumacef_a.ips", 700'000);
    EXPECT_TRUE(copy());
    EXPECT_EQ(copied(), Names{"lumacef_a.ips"});
}

TEST_F(CopyFilesContainingNameTest, WithoutAMatchNoFolderIsMadeAndTheSummaryStillComes) {
    make("other.ips", 1);
    EXPECT_TRUE(copy());
    EXPECT_FALSE(fs::exists(destination));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Total [\"lumacef\"] files found: 0. Copying: 0 of size "
                                         "0 kb. MaxFileCopyCount: 100")});
}

TEST_F(CopyFilesContainingNameTest, ACountOfZeroStillLetsTheFirstOneThrough) {
    make("lumacef_1.ips", 1);
    make("lumacef_2.ips", 1);
    EXPECT_TRUE(copy(0));
    EXPECT_EQ(copied(), Names{"lumacef_2.ips"});
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Total [\"lumacef\"] files found: 2. Copying: 0 of size "
                                         "0 kb. MaxFileCopyCount: 0")});
}

TEST_F(CopyFilesContainingNameTest, OnlySuccessfulCopiesCount) {
    make("lumacef_file.ips", 1);
    ASSERT_EQ(::mkfifo((source / "lumacef_pipe.ips").c_str(), 0600), 0);
    EXPECT_TRUE(copy(1));
    EXPECT_EQ(copied(), Names{"lumacef_file.ips"});
    EXPECT_EQ(logLines(log).last(),
              QStringLiteral("ERROR: Error copying lumacef_pipe.ips: Operation not supported"));
}

TEST_F(CopyFilesContainingNameTest, ReplacesWhatStandsAtTheDestination) {
    make("lumacef.ips", 3);
    writeFile(destination / "lumacef.ips", "before");
    EXPECT_TRUE(copy());
    EXPECT_EQ(test_support::readFile(destination / "lumacef.ips"), "xxx");
}

TEST_F(CopyFilesContainingNameTest, ALinkIsCopiedAsALink) {
    writeFile(home.path() / "secret", "secret");
    fs::create_directories(source);
    fs::create_symlink(home.path() / "secret", source / "lumacef.ips");
    EXPECT_TRUE(copy());
    EXPECT_TRUE(fs::is_symlink(destination / "lumacef.ips"));
}

TEST_F(CopyFilesContainingNameTest, AMissingSourceIsNoFailureAndSaysNothing) {
    EXPECT_TRUE(copy());
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(CopyFilesContainingNameTest, AnUnsetLocationIsAWarning) {
    EXPECT_FALSE(copyFilesContainingName(std::nullopt, destination, 1, 1, {}));
    EXPECT_FALSE(copyFilesContainingName(source, std::nullopt, 1, 1, {}));
    const QString line = QStringLiteral("WARNING: Source or destination directory is nil.");
    EXPECT_EQ(logLines(log), (QStringList{line, line}));
}

TEST_F(CopyFilesContainingNameTest, ASourceThatCannotBeListedIsOneError) {
    writeFile(source, "a file");
    EXPECT_FALSE(copy());
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error while copying files: Not a directory")});
}

TEST_F(CopyFilesContainingNameTest, ADestinationThatCannotBeMadeIsOneError) {
    make("lumacef.ips", 1);
    writeFile(home.path() / "out", "a file");
    EXPECT_FALSE(copy());
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error while copying files: Not a directory")});
}

} // namespace
