#include "Mappings.h"
#include "ProcFile.h"
#include "Report.h"
#include "Symbols.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;

TEST(ProcFile, ReadsOwnStat) {
    const auto text = spindump::contentIn(AT_FDCWD, "/proc/self/stat");
    ASSERT_TRUE(text.value);
    const auto stat = spindump::parseStat(*text.value);
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->parent, ::getppid());
    EXPECT_EQ(stat->state, 'R');
    EXPECT_GT(stat->argumentsEnd, stat->argumentsBegin);
}

TEST(ProcFile, TakesANameThatLooksLikeFields) {
    std::string text = "7 (a) S 1 (b)) R 42";
    for (int field = 5; field <= 52; ++field)
        text += ' ' + std::to_string(field);
    const auto stat = spindump::parseStat(text);
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->name, "a) S 1 (b)");
    EXPECT_EQ(stat->state, 'R');
    EXPECT_EQ(stat->parent, 42);
    EXPECT_EQ(stat->startTicks, 22u);
}

TEST(ProcFile, RefusesDamagedStat) {
    EXPECT_FALSE(spindump::parseStat(""));
    EXPECT_FALSE(spindump::parseStat("7 (a"));
    EXPECT_FALSE(spindump::parseStat("7 )a( S"));
    EXPECT_FALSE(spindump::parseStat("7 (a) S 1 2 3"));
}

TEST(ProcFile, StatusFieldIsAWholeName) {
    EXPECT_EQ(spindump::statusField("Name:\tx\nUid:\t1\t2\n", "Uid"), "1\t2");
    EXPECT_EQ(spindump::statusField("EUid:\t1\n", "Uid"), std::nullopt);
}

TEST(ProcFile, SaysWhyAFileIsNotReadable) {
    EXPECT_EQ(spindump::contentIn(AT_FDCWD, "/proc/none").failure,
              "not readable (No such file or directory)");
}

TEST(Mappings, TakesPathsWithBlanksAndSkipsDamagedLines) {
    const auto mappings = spindump::parseMappings("1000-3000 r-xp 00001000 08:01 42      /a b (deleted)\n"
                                                  "nonsense\n3000-1000 r--p 0 0:0 0\n"
                                                  "5000-6000 rw-p 00000000 00:00 0 \n");
    ASSERT_EQ(mappings.size(), 2u);
    EXPECT_EQ(mappings[0].path, "/a b (deleted)");
    EXPECT_EQ(mappings[0].inode, 42u);
    EXPECT_EQ(mappings[0].fileOffset, 0x1000u);
    EXPECT_TRUE(mappings[0].executable);
    EXPECT_EQ(mappings[1].begin, 0x5000u);
    EXPECT_EQ(mappings[1].path, "");
    EXPECT_EQ(spindump::parseMappings("1-2 r--p 0 0:0 0\n2-3 r--p 0 0:0 0\n", 1).size(), 1u);
}

TEST(CommandLineText, QuotesAndEscapes) {
    EXPECT_EQ(spindump::commandLineText("a\0b c\0\0d\033\0"s), "a \"b c\" \"\" d\\x1b");
    EXPECT_EQ(spindump::commandLineText(""), "none");
}

TEST(BytesText, ChoosesTheUnit) {
    EXPECT_EQ(spindump::bytesText(1023), "1023 bytes");
    EXPECT_EQ(spindump::bytesText(1536), "1.5 KiB");
    EXPECT_EQ(spindump::bytesText(3.0 * (1 << 30)), "3.0 GiB");
}

TEST(ReadableName, WritesCppNamesOut) {
    EXPECT_EQ(spindump::readableName("_ZN6sample4spinEm"), "sample::spin(unsigned long)");
    EXPECT_EQ(spindump::readableName("main"), "main");
    EXPECT_EQ(spindump::readableName("_Znonsense"), "_Znonsense");
    EXPECT_EQ(spindump::readableName("sleep@@GLIBC_2.2.5"), "sleep");
    EXPECT_EQ(spindump::readableName("a\nb"), "a\\x0ab");
}

// Each pair holds the one before it twice: written out it would fill any memory.
TEST(ReadableName, LeavesEndlessNamesAlone) {
    std::string name = "_Z1fSt4pairIiiE";
    for (int level = 0; level < 60; ++level)
        name += "St4pairIS" + (level == 0 ? "" : std::string(1, static_cast<char>('0' + (level - 1) % 10))) +
                "_S" + (level == 0 ? "" : std::string(1, static_cast<char>('0' + (level - 1) % 10))) + "_E";
    EXPECT_EQ(spindump::readableName(name.c_str()),
              name.substr(0, 512) + "… (" + std::to_string(name.size() - 512) + " bytes more)");
}

} // namespace
