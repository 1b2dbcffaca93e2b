#include "Arguments.h"

#include <gtest/gtest.h>

namespace {

using spindump::parseArguments;

TEST(Arguments, TakesProcessAndPath) {
    std::string error;
    const auto arguments = parseArguments({"4711", "-file", "/tmp/a b/report.txt"}, error);
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->processId, 4711);
    EXPECT_EQ(arguments->outputPath, "/tmp/a b/report.txt");
}

TEST(Arguments, RefusesEverythingElse) {
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"1"},
        {"1", "-file"},
        {"1", "/tmp/r"},
        {"1", "-file", "/tmp/r", "10"},
        {"1", "--file", "/tmp/r"},
        {"1", "-FILE", "/tmp/r"},
        {"-file", "/tmp/r", "1"},
        {"", "-file", "/tmp/r"},
        {"0", "-file", "/tmp/r"},
        {"-1", "-file", "/tmp/r"},
        {"+1", "-file", "/tmp/r"},
        {" 1", "-file", "/tmp/r"},
        {"1 ", "-file", "/tmp/r"},
        {"01", "-file", "/tmp/r"},
        {"0x10", "-file", "/tmp/r"},
        {"1.5", "-file", "/tmp/r"},
        {"2147483648", "-file", "/tmp/r"},
        {"18446744073709551617", "-file", "/tmp/r"},
        {"self", "-file", "/tmp/r"},
        {"1/../2", "-file", "/tmp/r"},
        {"1", "-file", ""},
        {"1", "-file", "/"},
        {"1", "-file", "/tmp/"},
        {"1", "-file", "/tmp/."},
        {"1", "-file", "/tmp/.."},
    };
    for (const auto &words : wrong) {
        std::string error;
        EXPECT_FALSE(parseArguments(words, error)) << testing::PrintToString(words);
        EXPECT_NE(error.find("usage: spindump PID -file PATH"), std::string::npos) << error;
    }
}

TEST(Arguments, EscapesWhatItRepeats) {
    std::string error;
    EXPECT_FALSE(parseArguments({"1\033[2J", "-file", "/tmp/r"}, error));
    EXPECT_EQ(error, "\"1\\x1b[2J\" is not a process id; usage: spindump PID -file PATH");
}

} // namespace
