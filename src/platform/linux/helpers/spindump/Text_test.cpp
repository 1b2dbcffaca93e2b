#include "CallTree.h"
#include "Spindump.h"
#include "Text.h"

#include <gtest/gtest.h>

namespace spindump {

namespace {

const Symbol start{"main", "m.c:1"};
const Symbol work{"work", "m.c:5"};
const Symbol workElsewhere{"work", "m.c:6"};
const Symbol idle{"idle", ""};

TEST(CallTree, SharesOuterCallsHeaviestFirst) {
    CallTree tree;
    tree.add({&start, &idle}, 2);
    tree.add({&start, &work}, 5);
    tree.add({&start, &workElsewhere, &idle}, 1);
    const QByteArray begin = "       8  main  m.c:1\n"
                             "       6   work  m.c:5 and other lines\n";
    EXPECT_EQ(tree.text(10), begin + "       1    idle\n"
                                     "       2   idle\n");
    EXPECT_EQ(tree.text(2), begin + "          … 2 more calls are left out\n");
}

TEST(CallTree, KeepsARecursionInOneLine) {
    CallTree tree;
    tree.add({&start, &work, &workElsewhere, &work, &idle, &work}, 1);
    EXPECT_EQ(tree.text(10), "       1  main  m.c:1\n"
                             "       1   work  m.c:5 and other lines  [calls itself, up to 3 deep]\n"
                             "       1    idle\n"
                             "       1     work  m.c:5\n");
}

TEST(Text, IsEscapedAndCut) {
    EXPECT_EQ(escaped("a b~ \"ä€😀\"\n\xff"), "a b~ \"ä€😀\"\\n\uFFFD");
    EXPECT_EQ(escaped("abcdäf", 4), "abcd… (2 characters more)");
    EXPECT_EQ(escaped("abcä", 4), "abcä");
}

TEST(Text, OfACommandLineIsQuoted) {
    EXPECT_EQ(commandLineText(QByteArray("a\0b c\0\0d\033\0", 10)), "a \"b c\" \"\" d\\u{1B}");
    EXPECT_EQ(commandLineText(""), "none");
}

TEST(Text, OfCppNamesIsWrittenOutUnlessThatIsEndless) {
    const std::pair<const char *, const char *> names[] = {
        {"_ZN6sample4spinEm", "sample::spin(unsigned long)"},
        {"main", "main"},
        {"_Znonsense", "_Znonsense"},
        {"sleep@@GLIBC_2.2.5", "sleep"},
        {"a\nb", "a\\nb"}};
    for (const auto &[name, readable] : names)
        EXPECT_EQ(readableName(name), readable);
    // Each pair holds the one before it twice: written out it would fill any memory.
    QByteArray name = "_Z1fSt4pairIiiE";
    for (int level = 0; level < 60; ++level) {
        const QByteArray before = level == 0 ? QByteArray() : QByteArray::number((level - 1) % 10);
        name += "St4pairIS" + before + "_S" + before + "_E";
    }
    EXPECT_EQ(readableName(name),
              name.left(512) + "… (" + QByteArray::number(name.size() - 512) + " characters more)");
}

TEST(ProcFile, TakesANameThatLooksLikeFieldsAndAWholeFieldName) {
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
    EXPECT_EQ(statusField("Name:\tx\nEUid:\t0\nUid:\t1\t2\n", "Uid"), "1\t2");
    EXPECT_EQ(statusField("EUid:\t1\n", "Uid"), "");
}

} // namespace

} // namespace spindump
