#include "logging/UserNameMask.h"

#include <chrono>
#include <gtest/gtest.h>

namespace {

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
