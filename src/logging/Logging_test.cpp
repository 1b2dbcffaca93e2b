#include "logging/Logging.h"

#include "test_support/FakeJournal.h"
#include "test_support/Isolation.h"
#include "test_support/LogReader.h"
#include "test_support/Mounts.h"
#include "test_support/ScratchHome.h"

#include <QDateTime>
#include <QRegularExpression>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::OSLogType;
using test_support::logLines;
using test_support::Mount;
using test_support::readFile;
using test_support::ScopedEnvironment;
using test_support::writeFile;
using testing::ElementsAre;
using UtilityFunctions::lumamonLogFileURL;
using UtilityFunctions::tempSystemURL;

class LoggerTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(system);
    }

    static QString text(const char *utf8) { return QString::fromUtf8(utf8); }

    // What the program prints on standard output meanwhile.
    template <typename Work>
    static std::string printedBy(const Work &work) {
        testing::internal::CaptureStdout();
        work();
        return testing::internal::GetCapturedStdout();
    }

    test_support::ScratchHome home;
    fs::path first = home.caches() / "Logs/LumadocDiagnosticsDebugOutput.log";
    fs::path system = home.library() / "LumadocDiagnostics/System";
    fs::path relocated = system / "LumadocDiagnosticsDebugOutput.log";
};

TEST_F(LoggerTest, BeforeSetupWritesNoFileAndPrintsNothing) {
    EXPECT_EQ(printedBy([] {
                  Logger::logInfo(QStringLiteral("nobody hears"));
                  Logger::log(QStringLiteral("nobody hears"), OSLogType::debug);
                  Logger::changeLogFileLocation();
              }),
              "");
    EXPECT_FALSE(fs::exists(home.caches()));
    EXPECT_FALSE(fs::exists(relocated));
}

TEST_F(LoggerTest, SetupMakesTheFolderAndNoFile) {
    Logger::setupLogFile();
    EXPECT_TRUE(fs::is_directory(first.parent_path()));
    EXPECT_FALSE(fs::exists(first));
}

TEST_F(LoggerTest, LabelsLinesAndLeavesOthersWithoutLabel) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    Logger::logWarning(QStringLiteral("two"));
    Logger::logError(QStringLiteral("three"));
    Logger::log(QStringLiteral("four"), OSLogType::debug);
    EXPECT_THAT(logLines(first),
                ElementsAre(text("INFO: one"), text("WARNING: two"), text("ERROR: three"), text("four")));
}

TEST_F(LoggerTest, StampsLinesWithTheTimeInUtcWhereverTheUserIs) {
    const ScopedEnvironment zone("TZ", "Asia/Tokyo");
    ::tzset();
    Logger::setupLogFile();
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    Logger::logInfo(QStringLiteral("text"));
    static const QRegularExpression form(
        QStringLiteral("\\AINFO: (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d) \\+0000: text\\n\\z"));
    const auto match = form.match(QString::fromUtf8(readFile(first)));
    ASSERT_TRUE(match.hasMatch()) << readFile(first).constData();
    auto stamp = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    stamp.setTimeSpec(Qt::UTC);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, QDateTime::currentDateTimeUtc());
}

TEST_F(LoggerTest, MasksUserNamesInLabelledLinesOnly) {
    Logger::setupLogFile();
    const QString message = QStringLiteral("from /Users/alice/Library/x to /home/bob/y");
    Logger::logInfo(message);
    Logger::logWarning(message);
    Logger::logError(message);
    Logger::log(message, OSLogType::info);
    EXPECT_THAT(logLines(first),
                ElementsAre(text("INFO: from /Users/[USER]/Library/x to /home/[USER]/y"),
                            text("WARNING: from /Users/[USER]/Library/x to /home/[USER]/y"),
                            text("ERROR: from /Users/[USER]/Library/x to /home/[USER]/y"), message));
}

TEST_F(LoggerTest, WritesUtf8AndLineFeedsAsTheyAre) {
    Logger::setupLogFile();
    Logger::log(QStringLiteral("Grüße 😀 \n\n"), OSLogType::debug);
    EXPECT_TRUE(readFile(first).endsWith(" +0000: Gr\xc3\xbc\xc3\x9f\x65 \xf0\x9f\x98\x80 \n\n\n"));
}

TEST_F(LoggerTest, MovesTheLogIntoTheWorkspace) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    tempSystemURL = system;
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation), "");
    Logger::logInfo(QStringLiteral("two"));
    EXPECT_FALSE(fs::exists(first));
    EXPECT_EQ(lumamonLogFileURL, relocated);
    EXPECT_THAT(logLines(relocated), ElementsAre(text("INFO: one"), text("INFO: two")));
}

TEST_F(LoggerTest, MovesTheLogBehindThatOfAnEarlierRun) {
    writeFile(relocated, "INFO: 2024-03-05 14:07:09 +0000: earlier\n");
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    tempSystemURL = system;
    Logger::changeLogFileLocation();
    EXPECT_THAT(logLines(relocated),
                ElementsAre(text("INFO: earlier"), text("MALFORMED: "), text("INFO: one")));
    EXPECT_FALSE(fs::exists(first));
}

TEST_F(LoggerTest, MovedTwiceInARowStaysAsItIs) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    tempSystemURL = system;
    Logger::changeLogFileLocation();
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation), "");
    Logger::logInfo(QStringLiteral("two"));
    EXPECT_THAT(logLines(relocated), ElementsAre(text("INFO: one"), text("INFO: two")));
    EXPECT_EQ(lumamonLogFileURL, relocated);
}

TEST_F(LoggerTest, MovedTwiceInARowDoesNotMissAFileRemovedMeanwhile) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    tempSystemURL = system;
    Logger::changeLogFileLocation();
    fs::remove(relocated);
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation), "");
}

TEST_F(LoggerTest, StaysWhereItIsWhileThereIsNoWorkspace) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation), "");
    Logger::logInfo(QStringLiteral("two"));
    EXPECT_THAT(logLines(first), ElementsAre(text("INFO: one"), text("INFO: two")));
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
}

TEST_F(LoggerTest, KeepsItsPlaceAndTellsWhyWhenItCannotMove) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    tempSystemURL = home.path() / "missing";
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation),
              "Failed to change log file location: No such file or directory\n");
    Logger::logInfo(QStringLiteral("two"));
    EXPECT_THAT(logLines(first), ElementsAre(text("INFO: one"), text("INFO: two")));
    EXPECT_EQ(lumamonLogFileURL, home.path() / "missing/LumadocDiagnosticsDebugOutput.log");
}

TEST_F(LoggerTest, TellsWhenALineCannotBeWrittenAndGoesOnAtTheSamePlace) {
    Logger::setupLogFile();
    fs::remove(first.parent_path());
    EXPECT_EQ(printedBy([] { Logger::logInfo(QStringLiteral("lost")); }),
              "Failed to write to log file: No such file or directory\n");
    fs::create_directory(first.parent_path());
    EXPECT_EQ(printedBy([] { Logger::log(QStringLiteral("kept"), OSLogType::debug); }), "");
    EXPECT_THAT(logLines(first), ElementsAre(text("kept")));
}

TEST_F(LoggerTest, TellsWhenTheDiskIsFull) {
    fs::create_directories(first.parent_path());
    const Mount disk = Mount::memory(first.parent_path(), 16 << 10);
    writeFile(first.parent_path() / "fill", QByteArray(16 << 10, 'x'));
    Logger::setupLogFile();
    EXPECT_EQ(printedBy([] { Logger::logError(QStringLiteral("lost")); }),
              "Failed to write to log file: No space left on device\n");
}

TEST_F(LoggerTest, TellsWhenItsFolderCannotBeMadeAndKeepsItsPlace) {
    Logger::setupLogFile();
    writeFile(home.path() / "cache/Logs", "a file");
    const ScopedEnvironment cache("XDG_CACHE_HOME", (home.path() / "cache").native());
    EXPECT_EQ(printedBy(Logger::setupLogFile), "Failed to create log directory: Not a directory\n");
    Logger::logInfo(QStringLiteral("one"));
    EXPECT_THAT(logLines(first), ElementsAre(text("INFO: one")));
}

// A product may start the program and never read what it prints.
TEST_F(LoggerTest, IsHeldUpByNobodyWhoDoesNotReadWhatItPrints) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const platform::FileDescriptor output(::dup(STDOUT_FILENO));
    Logger::setupLogFile();
    fs::remove(first.parent_path());
    ::dup2(ends[1], STDOUT_FILENO);
    for (int i = 0; i < 3000; ++i)
        Logger::logInfo(QStringLiteral("lost"));
    ::dup2(output.get(), STDOUT_FILENO);
    char printed[56] = {};
    ASSERT_EQ(::read(ends[0], printed, 55), 55);
    EXPECT_STREQ(printed, "Failed to write to log file: No such file or directory\n");
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(LoggerTest, OfASecondCopyPointsAtTheFirstOnesFileAndMakesNothing) {
    fs::remove_all(home.library());
    EXPECT_TRUE(Logger::NewLogFileLocation());
    EXPECT_FALSE(fs::exists(home.library()));
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
    writeFile(relocated, "INFO: 2024-03-05 14:07:09 +0000: running\n");
    Logger::logInfo(QStringLiteral("second"));
    EXPECT_THAT(logLines(relocated), ElementsAre(text("INFO: running"), text("INFO: second")));
}

TEST_F(LoggerTest, OfASecondCopyMovesNothing) {
    Logger::setupLogFile();
    Logger::logInfo(QStringLiteral("one"));
    EXPECT_TRUE(Logger::NewLogFileLocation());
    EXPECT_THAT(logLines(first), ElementsAre(text("INFO: one")));
    EXPECT_FALSE(fs::exists(relocated));
}

class HomelessLogger : public LoggerTest {
protected:
    void SetUp() override {
        LoggerTest::SetUp();
        writeFile(home.path() / "passwd", "tester:x:" + QByteArray::number(::geteuid()) + ":0:::/bin/sh\n");
        accounts.emplace(home.path() / "passwd");
    }

    struct AccountsWithoutHome {
        explicit AccountsWithoutHome(const fs::path &withoutHome)
            : database(Mount::over(withoutHome, "/etc/passwd")) {}
        Mount database;
        ScopedEnvironment home{"HOME", std::nullopt};
    };
    std::optional<AccountsWithoutHome> accounts;
};

TEST_F(HomelessLogger, HasNoFileOfAFirstCopy) {
    EXPECT_FALSE(Logger::NewLogFileLocation());
}

TEST_F(HomelessLogger, EndsTheProcessWithoutACachesFolder) {
    EXPECT_EXIT(Logger::setupLogFile(), testing::ExitedWithCode(1),
                "^Brennic_Lumadoc_Diagnostics: The user has no caches folder.\n$");
}

TEST_F(LoggerTest, NeverMixesLinesOfConcurrentThreads) {
    constexpr int each = 500;
    Logger::setupLogFile();
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c', 'd'})
        threads.emplace_back([letter] {
            for (int i = 0; i < each; ++i)
                Logger::logInfo(QString(100 + i, QLatin1Char(letter)));
        });
    for (std::thread &thread : threads)
        thread.join();
    QMap<QChar, int> next;
    for (const QString &line : logLines(first)) {
        const QChar letter = line.back();
        ASSERT_EQ(line, QStringLiteral("INFO: ") + QString(100 + next[letter], letter));
        ++next[letter];
    }
    EXPECT_THAT(next.values(), ElementsAre(each, each, each, each));
}

class LoggerToSystemLog : public LoggerTest {
protected:
    void SetUp() override {
        LoggerTest::SetUp();
        journal.emplace();
        ASSERT_TRUE(journal->isListening());
    }

    void expectNext(const QByteArray &message, const QByteArray &priority) {
        auto fields = journal->next().value_or(QMap<QByteArray, QByteArray>());
        fields.remove("SYSLOG_IDENTIFIER");
        EXPECT_EQ(fields,
                  (QMap<QByteArray, QByteArray>{{"MESSAGE", message},
                                                {"PRIORITY", priority},
                                                {"SUBSYSTEM", "com.brennic.LumadocDiagnostics.UnitTests"},
                                                {"CATEGORY", "MyApp"}}));
    }

    std::optional<test_support::FakeJournal> journal;
};

TEST_F(LoggerToSystemLog, TellsWarningsAtInfoAndTheRestAsTheyAre) {
    Logger::logInfo(QStringLiteral("one"));
    Logger::logWarning(QStringLiteral("two"));
    Logger::logError(QStringLiteral("three"));
    expectNext("INFO: one", "6");
    expectNext("WARNING: two", "6");
    expectNext("ERROR: three", "3");
}

TEST_F(LoggerToSystemLog, TellsUnlabelledLinesAtTheirTypeUnmasked) {
    Logger::log(QStringLiteral("/Users/alice/x"), OSLogType::debug);
    Logger::log(QStringLiteral("two"), OSLogType::info);
    Logger::log(QStringLiteral("three"), OSLogType::error);
    expectNext("/Users/alice/x", "7");
    expectNext("two", "6");
    expectNext("three", "3");
}

TEST_F(LoggerToSystemLog, MasksUserNamesThereToo) {
    Logger::logInfo(QStringLiteral("/Users/alice/x"));
    expectNext("INFO: /Users/[USER]/x", "6");
}

TEST_F(LoggerToSystemLog, TellsALineThatTheFileCouldNotTake) {
    Logger::setupLogFile();
    fs::remove(first.parent_path());
    EXPECT_NE(printedBy([] { Logger::logInfo(QStringLiteral("one")); }), "");
    expectNext("INFO: one", "6");
}

void expectMasked(const char16_t *message, const char16_t *masked) {
    EXPECT_EQ(maskedUserNames(QString::fromUtf16(message)), QString::fromUtf16(masked));
}

TEST(UserNameMask, HidesTheNameInAHomeFolder) {
    expectMasked(u"Copied /Users/alice/Library/x now", u"Copied /Users/[USER]/Library/x now");
    expectMasked(u"Copied /home/alice/.local/x now", u"Copied /home/[USER]/.local/x now");
}

TEST(UserNameMask, HidesEveryNameOfALine) {
    expectMasked(u"/Users/alice/a to /Users/bob/b and /home/carol/c",
                 u"/Users/[USER]/a to /Users/[USER]/b and "
                 "/home/[USER]/c");
}

TEST(UserNameMask, HidesNamesOfAnyCharacters) {
    expectMasked(u"/Users/Alice B. \"C\" Ünï😀/x", u"/Users/[USER]/x");
    expectMasked(u"/Users/two\nlines/x", u"/Users/[USER]/x");
    expectMasked(u"/Users/[USER]/x", u"/Users/[USER]/x");
}

TEST(UserNameMask, HidesTheNameInsideALongerPath) {
    expectMasked(u"/Volumes/Disk/Users/alice/x", u"/Volumes/Disk/Users/[USER]/x");
}

TEST(UserNameMask, TakesForANameWhatStandsBetweenTwoSlashes) {
    expectMasked(u"/Users/a: no such file, /Users/b/c", u"/Users/[USER]/Users/b/c");
    expectMasked(u"/Users/home/x/Users/home/alice/y", u"/Users/[USER]/x/Users/[USER]/alice/y");
    expectMasked(u"/Users//Users/alice/x", u"/Users//Users/[USER]/x");
    expectMasked(u"/Users//home//Users/alice/", u"/Users//home//Users/[USER]/");
}

TEST(UserNameMask, LeavesWhatIsNoHomeFolder) {
    for (const char16_t *text :
         {u"", u"/", u"/Users", u"/Users/", u"/Users//x", u"/Users/alice", u"/home/alice", u"Users/alice/x",
          u"/users/alice/x", u"/Home/alice/x", u"/Users2/alice/x", u"/Usershome/alice/x", u"no path at all"})
        expectMasked(text, text);
}

TEST(UserNameMask, HidesTheNameInTextThatIsNotWhollyUnicode) {
    const QString half(QChar(0xd800));
    EXPECT_EQ(maskedUserNames(half + QStringLiteral("/Users/alice/x")),
              half + QStringLiteral("/Users/[USER]/x"));
    EXPECT_EQ(maskedUserNames(QStringLiteral("/Users/") + half + QStringLiteral("/x")),
              QStringLiteral("/Users/[USER]/x"));
}

TEST(UserNameMask, TakesTimeLinearInTheText) {
    using Clock = std::chrono::steady_clock;
    constexpr qsizetype size = 1 << 20;
    const QString hostile[] = {
        QStringLiteral("/Users/").repeated(size / 7),    QString(size, u'/'),
        QStringLiteral("/Users/") + QString(size, u'x'), QStringLiteral("/Users/x").repeated(size / 8),
        QStringLiteral("/home").repeated(size / 5),      QStringLiteral("/Users//").repeated(size / 8)};
    // Quadratic, each would take minutes.
    for (const QString &text : hostile) {
        const auto start = Clock::now();
        maskedUserNames(text);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << text.first(20).toStdString();
    }
}

} // namespace
