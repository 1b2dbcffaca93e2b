#include "platform/SystemLog.h"

#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/StandIns.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <thread>

namespace {

using platform::OSLogType;
using platform::SystemLog;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

void send(OSLogType type, const QString &text) {
    SystemLog::send(QStringLiteral("com.example.program"), QStringLiteral("MyApp"), type, text);
}

class Journal : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        journal.emplace();
        ASSERT_TRUE(journal->isListening());
    }

    // The fields of the next entry that come from the program.
    QMap<QByteArray, QByteArray> next() {
        auto fields = journal->next().value_or(QMap<QByteArray, QByteArray>());
        fields.remove("SYSLOG_IDENTIFIER");
        return fields;
    }

    std::optional<test_support::FakeJournal> journal;
};

TEST_F(Journal, GetsLongLinesAndNothingElseOfTheProgram) {
    const QString text(100000, u'x');
    send(OSLogType::error, text);
    EXPECT_EQ(next(), (QMap<QByteArray, QByteArray>{{"MESSAGE", text.toUtf8()},
                                                    {"PRIORITY", "3"},
                                                    {"SUBSYSTEM", "com.example.program"},
                                                    {"CATEGORY", "MyApp"}}));
}

TEST_F(Journal, HasEverythingOnceItIsFlushed) {
    // Long enough to take a moment to write; flushed at different points of that moment.
    const QString text(1000000, u'x');
    for (int i = 0; i < 40; ++i) {
        send(OSLogType::info, text);
        std::this_thread::sleep_for(std::chrono::microseconds(20 * i));
        EXPECT_TRUE(SystemLog::flush(seconds(5)));
        EXPECT_TRUE(journal->next(milliseconds(0))) << i;
    }
}

TEST_F(Journal, ThatHasStoppedReadingHoldsNobodyUpAndLaterGetsTheLinesUpToTheLimit) {
    constexpr int limit = static_cast<int>(SystemLog::queueLimit);
    constexpr int early = limit / 2;
    for (int i = 0; i < early; ++i)
        send(OSLogType::info, QStringLiteral("early"));
    for (int i = 0; i < 2 * limit; ++i)
        send(OSLogType::info, QStringLiteral("late"));
    const auto flushed = Clock::now();
    EXPECT_FALSE(SystemLog::flush(milliseconds(200)));
    EXPECT_GE(Clock::now() - flushed, milliseconds(200));

    QMap<QByteArray, int> received;
    for (auto fields = journal->next(); fields; fields = journal->next())
        ++received[fields->value("MESSAGE")];
    // It depends how many of the early ones were already on their way and so left room for late ones.
    EXPECT_EQ(received["early"], early);
    EXPECT_GE(received["late"], limit - early);
    EXPECT_LT(received["late"], 2 * limit);
    EXPECT_TRUE(SystemLog::flush(seconds(5)));
}

TEST_F(Journal, ThatHasStoppedReadingDoesNotKeepTheProcess) {
    EXPECT_EXIT(
        {
            for (int i = 0; i < 5000; ++i)
                send(OSLogType::info, QStringLiteral("x"));
            SystemLog::flush(milliseconds(50));
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

TEST(NoJournal, DoesNoHarm) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    const auto empty = test_support::Mount::memory("/run", 1 << 20);
    send(OSLogType::error, QStringLiteral("nobody hears"));
    EXPECT_TRUE(SystemLog::flush(seconds(5)));
}

// Root has no limit of threads.
void losesLinesAndNothingElse() {
    EXPECT_EQ(test_support::statusInChild([] {
                  const struct rlimit none = {0, 0};
                  if (::setresuid(65534, 65534, 65534) != 0 || ::setrlimit(RLIMIT_NPROC, &none) != 0)
                      return 1;
                  send(OSLogType::error, QStringLiteral("nobody hears"));
                  return SystemLog::flush(milliseconds(50)) ? 2 : 0;
              }),
              0);
}
const bool threadsTested = test_support::registerTestIf(::geteuid() == 0, "NoThreads",
                                                        "LosesLinesAndNothingElse", losesLinesAndNothingElse);

} // namespace
