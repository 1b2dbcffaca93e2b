#include "collection/FileSelection.h"

#include "collection/PrintedList.h"
#include "test_support/LoggedTest.h"

#include <limits>
#include <set>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test_support::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using UtilityFunctions::copyFilesContainingName;

FileRecord record(const char *name, std::chrono::seconds age, std::uint64_t sizeBytes) {
    return {name, std::chrono::sys_time<std::chrono::nanoseconds>(1'000'000s - age), sizeBytes};
}

std::vector<std::string> selected(std::vector<FileRecord> candidates, std::int64_t limitBytes) {
    std::vector<std::string> names;
    for (const auto &taken : selectNewest(std::move(candidates), limitBytes).taken)
        names.push_back(taken.name);
    return names;
}

TEST(Selection, TakesTheNewestFirstAndKeepsTheListingOrderOfEqualDates) {
    FileRecord undated = record("undated", 0s, 1);
    undated.creationDate = std::chrono::sys_time<std::chrono::nanoseconds>::min();
    EXPECT_THAT(selected({undated, record("old", 3s, 1), record("b", 1s, 1), record("a", 1s, 1),
                          record("c", 1s, 1), record("middle", 2s, 1)},
                         100),
                ElementsAre("b", "a", "c", "middle", "old", "undated"));
}

TEST(Selection, StopsAtTheFirstFileOverTheLimitAndNoneAfterItAndEndsTheProcessOnAnOverflow) {
    const std::vector candidates{record("a", 1s, 700), record("b", 2s, 400), record("c", 3s, 100)};
    EXPECT_THAT(selected(candidates, 1048), ElementsAre("a"));
    EXPECT_EQ(selectNewest(candidates, 1048).totalBytes, 700U);
    EXPECT_THAT(selected(candidates, 1100), ElementsAre("a", "b"));
    EXPECT_THAT(selected({record("empty", 1s, 0)}, -1), IsEmpty());
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EXIT(selectNewest({record("a", 1s, static_cast<std::uint64_t>(most)),
                              record("b", 2s, std::numeric_limits<std::uint64_t>::max())},
                             most),
                testing::ExitedWithCode(1), "add up to more than can be counted");
}

TEST(NameMatch, IgnoresCaseAndTakesAnyPartOfAnyPattern) {
    const QStringList patterns{QString(), QStringLiteral("lumacef"), QStringLiteral("ärger")};
    for (const char *name : {"Lumacef_2024-01-02-101112_host.ips", "LUMACEF.ips", "the lumaCEF",
                             "\xff\xfeLumacef", "\xc3\x84rger"})
        EXPECT_TRUE(containsAnyName(name, patterns)) << name;
    EXPECT_FALSE(containsAnyName("Luma_cef", patterns) || containsAnyName("name", {}));
}

TEST(PrintedList, QuotesEachTextAndEscapesWhatWouldBreakTheLine) {
    EXPECT_EQ(printedList({QStringLiteral("a\"b\n"), QString(), QStringLiteral("b c")}),
              QStringLiteral("[\"a\\\"b\\n\", \"\", \"b c\"]"));
}

class CopyingTheNewest : public test_support::LoggedTest {
protected:
    bool copy(int maxFileCount = 100) {
        return copyFilesContainingName(source, destination, maxFileCount, 1'048'576,
                                       {QStringLiteral("lumacef")});
    }
    // Files get their creation dates by being made one after the other.
    void make(const std::string &name, qsizetype size = 1) {
        writeFile(source / name, QByteArray(size, 'x'));
        std::this_thread::sleep_for(5ms);
    }
    std::set<std::string> copied() const {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(destination))
            names.insert(entry.path().filename());
        return names;
    }
    static std::string summary(const char *found, const char *copying, const char *size, const char *most) {
        return std::string("INFO: Total [\"lumacef\"] files found: ") + found + ". Copying: " + copying +
               " of size " + size + " kb. MaxFileCopyCount: " + most;
    }

    fs::path source = home.path() / "reports";
    fs::path destination = home.path() / "out/DiagnosticReports";
};

TEST_F(CopyingTheNewest, StopsAtTheSizeLimitAndAtACountOfCopiesThatSucceed) {
    make("lumacef_c.ips", 100'000);
    make("lumacef_b.ips", 400'000);
    make("lumacef_a.ips", 700'000);
    EXPECT_TRUE(copy());
    EXPECT_THAT(copied(), ElementsAre("lumacef_a.ips"));
    make("lumacef_file.ips", 3);
    ASSERT_EQ(::mkfifo((source / "lumacef_pipe.ips").c_str(), 0600), 0);
    writeFile(destination / "lumacef_file.ips", "before");
    EXPECT_TRUE(copy(1));
    EXPECT_THAT(copied(), ElementsAre("lumacef_a.ips", "lumacef_file.ips"));
    EXPECT_EQ(test_support::readFile(destination / "lumacef_file.ips"), "xxx");
    EXPECT_THAT(said(), ElementsAre(summary("1", "1", "683", "100"), summary("3", "1", "683", "1"),
                                    "ERROR: Error copying lumacef_pipe.ips: Operation not supported"));
    // The first one goes through with a count of zero.
    make("lumacef_newest.ips");
    EXPECT_TRUE(copy(0));
    EXPECT_THAT(copied(), ElementsAre("lumacef_a.ips", "lumacef_file.ips", "lumacef_newest.ips"));
    EXPECT_EQ(said().back(), summary("4", "0", "683", "0"));
}

TEST_F(CopyingTheNewest, IsNoFailureWhenThereIsNothingToCopyButFailsWithOneLineOtherwise) {
    EXPECT_TRUE(copy());
    EXPECT_FALSE(fs::exists(log));
    make("other.ips");
    EXPECT_TRUE(copy());
    EXPECT_FALSE(fs::exists(destination));
    EXPECT_FALSE(copyFilesContainingName(std::nullopt, destination, 1, 1, {}));
    EXPECT_FALSE(copyFilesContainingName(source, std::nullopt, 1, 1, {}));
    make("lumacef.ips");
    writeFile(home.path() / "out", "a file in the way");
    EXPECT_FALSE(copy());
    fs::remove_all(source);
    writeFile(source, "a file that cannot be listed");
    EXPECT_FALSE(copy());
    const std::string unset = "WARNING: Source or destination directory is nil.";
    const std::string failed = "ERROR: Error while copying files: Not a directory";
    EXPECT_THAT(said(), ElementsAre(summary("0", "0", "0", "100"), unset, unset, failed, failed));
}

} // namespace
