#include "Report.h"
#include "Target.h"
#include "Text.h"

#include <gmock/gmock.h>

namespace spindump {

namespace {

TEST(Text, IsEscapedAndCut) {
    EXPECT_EQ(escaped("a b~ \"ä€😀\"\n\xff"), "a b~ \"ä€😀\"\\n\uFFFD");
    EXPECT_EQ(escaped("abcdäf", 4), "abcd… (2 characters more)");
    EXPECT_EQ(escaped("abcä", 4), "abcä");
}

TEST(Text, OfACommandLineIsQuoted) {
    EXPECT_EQ(commandLineText(QByteArray("a\0b c\0\0d\033\0", 10)), "a \"b c\" \"\" d\\u{1B}");
    EXPECT_EQ(commandLineText(""), "none");
}

TEST(ReadableName, WritesCppNamesOut) {
    EXPECT_EQ(readableName("_ZN6sample4spinEm"), "sample::spin(unsigned long)");
    EXPECT_EQ(readableName("main"), "main");
    EXPECT_EQ(readableName("_Znonsense"), "_Znonsense");
    EXPECT_EQ(readableName("sleep@@GLIBC_2.2.5"), "sleep");
    EXPECT_EQ(readableName("a\nb"), "a\\nb");
}

// Each pair holds the one before it twice: written out it would fill any memory.
TEST(ReadableName, LeavesEndlessNamesAlone) {
    QByteArray name = "_Z1fSt4pairIiiE";
    for (int level = 0; level < 60; ++level) {
        const QByteArray before = level == 0 ? QByteArray() : QByteArray::number((level - 1) % 10);
        name += "St4pairIS" + before + "_S" + before + "_E";
    }
    EXPECT_EQ(readableName(name),
              name.left(512) + "… (" + QByteArray::number(name.size() - 512) + " characters more)");
}

TEST(ProcFile, TakesANameThatLooksLikeFields) {
    QByteArray text = "7 (a) S 1 (b)) R 42";
    for (int field = 5; field <= 52; ++field)
        text += ' ' + QByteArray::number(field);
    const ProcStat stat(text);
    EXPECT_EQ(stat.name, "a) S 1 (b)");
    EXPECT_EQ(stat.state, 'R');
    EXPECT_EQ(stat.number(4), 42u);
    EXPECT_EQ(stat.number(22), 22u);
    EXPECT_EQ(stat.number(53), 0u);
    for (const char *damaged : {"", "7 (a", "7 )a( S"})
        EXPECT_TRUE(ProcStat(damaged).fields.isEmpty()) << damaged;
}

TEST(ProcFile, FindsAWholeFieldName) {
    EXPECT_EQ(statusField("Name:\tx\nUid:\t1\t2\n", "Uid"), "1\t2");
    EXPECT_EQ(statusField("EUid:\t1\n", "Uid"), "");
}

} // namespace

} // namespace spindump
