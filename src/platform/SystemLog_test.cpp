#include "platform/SystemLog.h"

#include "test_support/Isolation.h"
#include "test_support/Machine.h"

#include <gmock/gmock.h>

namespace {

using platform::OSLogType;
using platform::SystemLog;
using Line = test_support::Machine::LogLine;

TEST(SystemLogTest, GetsEachLineAsItIsWithItsTypeSubsystemAndCategoryAndInOrder) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    test_support::Machine machine;
    for (const auto &[type, name] :
         {std::pair(OSLogType::debug, "debug"), {OSLogType::info, "info"}, {OSLogType::error, "error"}}) {
        for (const char *text :
             {"a line", "INFO: a line", "ERROR: a line", "WARNING: a line", "OTHER: %@ %s %n", "two\nlines\n",
              "PRIORITY=0\nMESSAGE=other", "Grüße 😀", "", "INFO: "}) {
            SystemLog::send(QStringLiteral("com.example.program"), QStringLiteral("MyApp"), type,
                            QString::fromUtf8(text));
            EXPECT_EQ(machine.nextLogLine(), (Line{"com.example.program", "MyApp", name, text}));
        }
    }
    for (int i = 0; i < 1000; ++i)
        SystemLog::send(QStringLiteral("com.example.program"), QStringLiteral("MyApp"), OSLogType::info,
                        QString::number(i));
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(machine.nextLogLine().value_or(Line()).text, std::to_string(i));
    EXPECT_TRUE(SystemLog::flush(std::chrono::seconds(5)));
}

} // namespace
