#include "logging/Logging.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"
#include "test_support/StandIns.h"

#include <QDateTime>
#include <QRegularExpression>
#include <ctime>
#include <gmock/gmock.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using platform::OSLogType;
using test_support::logLines;
using test_support::Mount;
using test_support::readFile;
using test_support::ScopedEnvironment;
using test_support::writeFile;
using UtilityFunctions::lumamonLogFileURL;
using UtilityFunctions::tempSystemURL;

void info(const char *message) {
    Logger::logInfo(QString::fromUtf8(message));
}

class LoggerTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(system);
    }

    // What the program prints on standard output meanwhile.
    template <typename Work>
    static std::string printedBy(const Work &work) {
        testing::internal::CaptureStdout();
        work();
        return testing::internal::GetCapturedStdout();
    }
    // Moves the log where that is possible.
    static void move() { EXPECT_EQ(printedBy(Logger::changeLogFileLocation), ""); }
    static void expectLines(const fs::path &log, const QStringList &lines) {
        EXPECT_EQ(logLines(log), lines);
    }

    test_support::ScratchHome home;
    fs::path first = home.caches() / "Logs/LumadocDiagnosticsDebugOutput.log";
    fs::path system = home.library() / "LumadocDiagnostics/System";
    fs::path relocated = system / "LumadocDiagnosticsDebugOutput.log";
};

TEST_F(LoggerTest, BeforeSetupWritesNoFileAndPrintsNothing) {
    EXPECT_EQ(printedBy([] {
                  info("lost");
                  Logger::log(QStringLiteral("lost"), OSLogType::debug);
                  Logger::changeLogFileLocation();
              }),
              "");
    EXPECT_FALSE(fs::exists(home.caches()) || fs::exists(relocated));
}

TEST_F(LoggerTest, StampsLinesWithTheTimeInUtcAndKeepsTheirText) {
    const ScopedEnvironment zone("TZ", "Asia/Tokyo");
    ::tzset();
    Logger::setupLogFile();
    EXPECT_FALSE(fs::exists(first));
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    info("Grüße 😀 \n\n");
    static const QRegularExpression form(
        QStringLiteral("\\AINFO: (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d) \\+0000: Grüße 😀 \\n\\n\\n\\z"));
    const auto match = form.match(QString::fromUtf8(readFile(first)));
    ASSERT_TRUE(match.hasMatch()) << readFile(first).constData();
    auto stamp = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    stamp.setTimeSpec(Qt::UTC);
    EXPECT_TRUE(before <= stamp && stamp <= QDateTime::currentDateTimeUtc());
}

TEST_F(LoggerTest, MovesIntoTheWorkspaceOnceThereIsOneAndLeavesNoEmptyFolder) {
    Logger::setupLogFile();
    info("one");
    move();
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
    expectLines(first, {u"INFO: one"_qs});

    writeFile(relocated, "INFO: 2024-03-05 14:07:09 +0000: earlier\n");
    tempSystemURL = system;
    move();
    info("two");
    EXPECT_TRUE(fs::is_empty(home.caches()));
    EXPECT_EQ(lumamonLogFileURL, relocated);
    const QStringList lines = {u"INFO: earlier"_qs, u"MALFORMED: "_qs, u"INFO: one"_qs, u"INFO: two"_qs};
    expectLines(relocated, lines);

    move();
    expectLines(relocated, lines);
    fs::remove(relocated);
    move();
    EXPECT_EQ(lumamonLogFileURL, relocated);

    Logger::setupLogFile();
    info("three");
    writeFile(first.parent_path() / "other's", "");
    move();
    EXPECT_FALSE(fs::exists(first));
    EXPECT_TRUE(fs::exists(first.parent_path() / "other's")) << "a folder that others use stays";
}

TEST_F(LoggerTest, KeepsItsPlaceAndSaysWhyWhenItCannotMoveOrCreateItsFolder) {
    Logger::setupLogFile();
    info("one");
    tempSystemURL = home.path() / "missing";
    EXPECT_EQ(printedBy(Logger::changeLogFileLocation),
              "Failed to change log file location: No such file or directory\n");
    EXPECT_EQ(lumamonLogFileURL, home.path() / "missing/LumadocDiagnosticsDebugOutput.log");
    writeFile(home.path() / "cache/Logs", "a file");
    const ScopedEnvironment cache("XDG_CACHE_HOME", (home.path() / "cache").native());
    EXPECT_EQ(printedBy(Logger::setupLogFile), "Failed to create log directory: Not a directory\n");
    info("two");
    expectLines(first, {u"INFO: one"_qs, u"INFO: two"_qs});
}

// Lines as long as any path, so that a line in two writes would be seen.
QString lineOf(int writer, int number) {
    return QString::number(writer) + QString(200 + (writer * 37 + number * 101) % 4000, QChar(u'a' + writer));
}

TEST_F(LoggerTest, NeverMixesLinesOfThreadsAndProcesses) {
    constexpr int linesEach = 300;
    const auto write = [](int writer) {
        for (int i = 0; i < linesEach; ++i)
            Logger::logInfo(lineOf(writer, i));
    };
    Logger::setupLogFile();
    const pid_t process = test_support::startInChild([&] {
        write(0);
        return 0;
    });
    std::thread one(write, 1);
    std::thread two(write, 2);
    one.join();
    two.join();
    EXPECT_EQ(test_support::statusOf(process), 0);
    int next[3] = {};
    for (const QString &line : logLines(first)) {
        const int writer = line.mid(6, 1).toInt();
        ASSERT_EQ(line, QStringLiteral("INFO: ") + lineOf(writer, next[writer]));
        ++next[writer];
    }
    EXPECT_THAT(next, testing::Each(linesEach));
}

// A product may start the program and never read what it prints.
TEST_F(LoggerTest, SaysWhyALineIsLostWithoutWaitingForAReader) {
    platform::Pipe pipe = platform::Pipe::open();
    const platform::FileDescriptor output(::dup(STDOUT_FILENO));
    Logger::setupLogFile();
    fs::remove(first.parent_path());
    ::dup2(pipe.writeEnd.get(), STDOUT_FILENO);
    for (int i = 0; i < 3000; ++i)
        info("lost");
    ::dup2(output.get(), STDOUT_FILENO);
    char printed[56] = {};
    ASSERT_EQ(::read(pipe.readEnd.get(), printed, 55), 55);
    EXPECT_STREQ(printed, "Failed to write to log file: No such file or directory\n");
    fs::create_directory(first.parent_path());
    EXPECT_EQ(printedBy([] { info("kept"); }), "");
    expectLines(first, {u"INFO: kept"_qs});
}

TEST_F(LoggerTest, OfASecondCopyWritesToTheFirstOnesFileAndCreatesNothing) {
    Logger::setupLogFile();
    info("one");
    fs::remove_all(home.library());
    EXPECT_TRUE(Logger::NewLogFileLocation());
    EXPECT_FALSE(fs::exists(home.library()));
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
    writeFile(relocated, "INFO: 2024-03-05 14:07:09 +0000: running\n");
    info("second");
    expectLines(relocated, {u"INFO: running"_qs, u"INFO: second"_qs});
    expectLines(first, {u"INFO: one"_qs});
}

TEST_F(LoggerTest, WithoutAHomeFolderHasNoPlace) {
    writeFile(home.path() / "passwd", "tester:x:" + QByteArray::number(::geteuid()) + ":0:::/bin/sh\n");
    const Mount accounts = Mount::over(home.path() / "passwd", "/etc/passwd");
    const ScopedEnvironment unset("HOME", std::nullopt);
    EXPECT_FALSE(Logger::NewLogFileLocation());
    EXPECT_EXIT(Logger::setupLogFile(), testing::ExitedWithCode(1),
                "^Brennic_Lumadoc_Diagnostics: The user has no caches folder.\n$");
}

TEST_F(LoggerTest, LabelsAndMasksLinesExceptThoseWithoutALabelHereAndInTheSystemLog) {
    test_support::FakeJournal journal;
    ASSERT_TRUE(journal.isListening());
    const QString message = QStringLiteral("from /Users/alice/x to /home/bob/y");
    const QString masked = QStringLiteral("from /Users/[USER]/x to /home/[USER]/y");
    const auto logged = [&](const QString &text, OSLogType type) {
        return std::function([&text, type] { Logger::log(text, type); });
    };
    const struct {
        std::function<void()> log;
        QString line;
        const char *priority;
    } cases[] = {{[&] { Logger::logInfo(message); }, u"INFO: "_qs + masked, "6"},
                 {[&] { Logger::logWarning(message); }, u"WARNING: "_qs + masked, "6"},
                 {[&] { Logger::logError(message); }, u"ERROR: "_qs + masked, "3"},
                 {logged(message, OSLogType::debug), message, "7"},
                 {logged(message, OSLogType::info), message, "6"},
                 {logged(message, OSLogType::error), message, "3"}};
    // The file cannot take them at first.
    for (const bool hasFile : {false, true}) {
        Logger::setupLogFile();
        QStringList lines;
        for (const auto &[log, line, priority] : cases) {
            if (!hasFile)
                fs::remove_all(first.parent_path());
            EXPECT_EQ(printedBy(log).empty(), hasFile);
            auto fields = journal.next().value_or(QMap<QByteArray, QByteArray>());
            fields.remove("SYSLOG_IDENTIFIER");
            EXPECT_EQ(fields,
                      (QMap<QByteArray, QByteArray>{{"MESSAGE", line.toUtf8()},
                                                    {"PRIORITY", priority},
                                                    {"SUBSYSTEM", "com.brennic.LumadocDiagnostics.UnitTests"},
                                                    {"CATEGORY", "MyApp"}}));
            lines.append(line);
        }
        expectLines(first, hasFile ? lines : QStringList());
    }
}

TEST(UserNameMask, HidesWhatIsBetweenTwoSlashesInAFolderOfHomes) {
    const QString half(QChar(0xd800));
    const std::pair<QString, QString> cases[] = {
        {u"Copied /Users/a/x to /home/b/y and /Users/c/"_qs,
         u"Copied /Users/[USER]/x to /home/[USER]/y and /Users/[USER]/"_qs},
        {u"/Users/Alice B. \"C\" Ünï😀\n/x"_qs, u"/Users/[USER]/x"_qs},
        {u"/Users/[USER]/x"_qs, u"/Users/[USER]/x"_qs},
        {u"/Volumes/Disk/Users/a/x"_qs, u"/Volumes/Disk/Users/[USER]/x"_qs},
        {u"/Users/a: no such file, /Users/b/c"_qs, u"/Users/[USER]/Users/b/c"_qs},
        {u"/Users/home/x/Users/home/a/y"_qs, u"/Users/[USER]/x/Users/[USER]/a/y"_qs},
        {u"/Users//home//Users/a/"_qs, u"/Users//home//Users/[USER]/"_qs},
        {half + u"/Users/a/x"_qs, half + u"/Users/[USER]/x"_qs},
        {u"/Users/"_qs + half + u"/x"_qs, u"/Users/[USER]/x"_qs}};
    for (const auto &[message, masked] : cases)
        EXPECT_EQ(maskedUserNames(message), masked);
    for (const QString &text :
         {u""_qs, u"/"_qs, u"/Users"_qs, u"/Users/"_qs, u"/Users//x"_qs, u"/Users/a"_qs, u"/home/a"_qs,
          u"Users/a/x"_qs, u"/users/a/x"_qs, u"/Home/a/x"_qs, u"/Users2/a/x"_qs, u"/Usershome/a/x"_qs})
        EXPECT_EQ(maskedUserNames(text), text);
}

TEST(UserNameMask, TakesTimeLinearInTheText) {
    constexpr qsizetype size = 1 << 20;
    // Quadratic, each would take minutes.
    for (const QString &text : {u"/Users/"_qs.repeated(size / 7), QString(size, u'/'),
                                u"/Users/"_qs + QString(size, u'x'), u"/Users/x"_qs.repeated(size / 8),
                                u"/home"_qs.repeated(size / 5), u"/Users//"_qs.repeated(size / 8)}) {
        // The processor's time: the machine may have other work.
        const std::clock_t start = std::clock();
        maskedUserNames(text);
        EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC) << text.first(20).toStdString();
    }
}

} // namespace
