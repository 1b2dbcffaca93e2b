#include "Report.h"
#include "Target.h"
#include "Text.h"

#include <gmock/gmock.h>

namespace spindump {

namespace {

TEST(Text, IsEscaped) {
    const std::pair<QByteArray, QByteArray> cases[] = {
        {"a b~ \"ä€😀\"", "a b~ \"ä€😀\""},
        {QByteArray("a\nb\tc\0d\x1b[31m\x7f", 13), "a\\x0ab\\x09c\\x00d\\x1b[31m\\x7f"},
        {"\\x0a", "\\x5cx0a"},
        // NEXT LINE, LINE SEPARATOR, RIGHT-TO-LEFT OVERRIDE.
        {"\u0085|\u2028|\u202e", "\\xc2\\x85|\\xe2\\x80\\xa8|\\xe2\\x80\\xae"},
        // No UTF-8: an overlong slash, a surrogate, beyond the last character.
        {"\xff|\xc3", "\\xff|\\xc3"},
        {"\xc0\xaf", "\\xc0\\xaf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
    };
    for (const auto &[text, shown] : cases)
        EXPECT_EQ(escaped(text), shown);
    EXPECT_EQ(escaped("abcdef", 4), "abcd… (2 bytes more)");
    EXPECT_EQ(escaped("abcä", 4), "abc… (2 bytes more)");
    EXPECT_EQ(escaped("abcd", 4), "abcd");
}

TEST(Text, OfACommandLineIsQuoted) {
    EXPECT_EQ(commandLineText(QByteArray("a\0b c\0\0d\033\0", 10)), "a \"b c\" \"\" d\\x1b");
    EXPECT_EQ(commandLineText(""), "none");
}

TEST(ReadableName, WritesCppNamesOut) {
    EXPECT_EQ(readableName("_ZN6sample4spinEm"), "sample::spin(unsigned long)");
    EXPECT_EQ(readableName("main"), "main");
    EXPECT_EQ(readableName("_Znonsense"), "_Znonsense");
    EXPECT_EQ(readableName("sleep@@GLIBC_2.2.5"), "sleep");
    EXPECT_EQ(readableName("a\nb"), "a\\x0ab");
}

// Each pair holds the one before it twice: written out it would fill any memory.
TEST(ReadableName, LeavesEndlessNamesAlone) {
    QByteArray name = "_Z1fSt4pairIiiE";
    for (int level = 0; level < 60; ++level) {
        const QByteArray before = level == 0 ? QByteArray() : QByteArray::number((level - 1) % 10);
        name += "St4pairIS" + before + "_S" + before + "_E";
    }
    EXPECT_EQ(readableName(name),
              name.left(512) + "… (" + QByteArray::number(name.size() - 512) + " bytes more)");
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
