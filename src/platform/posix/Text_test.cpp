#include "platform/posix/Text.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    QString text;
    QString escaped;
};

class EscapedText : public testing::TestWithParam<Case> {};

TEST_P(EscapedText, IsOnOneLineAndHarmless) {
    EXPECT_EQ(platform::escaped(GetParam().text), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(Each, EscapedText,
                         testing::Values(
                             // Ordinary text, surrogate pairs and the joiners stay.
                             Case{QString(), QString()},
                             Case{QStringLiteral("a b~ \"é€😀\" \u200c\u200d"),
                                  QStringLiteral("a b~ \"é€😀\" \u200c\u200d")},
                             Case{QStringLiteral("\\n"), QStringLiteral("\\\\n")},
                             Case{QStringLiteral("a\nb\rc\td"), QStringLiteral("a\\nb\\rc\\td")},
                             Case{QStringLiteral("\x1b[0m\x7f\u0085") + QChar(0),
                                  QStringLiteral("\\u{1B}[0m\\u{7F}\\u{85}\\u{0}")},
                             Case{QStringLiteral("\u2028\u2029"), QStringLiteral("\\u{2028}\\u{2029}")},
                             // Direction marks, and a format character beyond the first plane.
                             Case{QStringLiteral("\u061c\u202e\u2066\ufeff\U000e0041"),
                                  QStringLiteral("\\u{61C}\\u{202E}\\u{2066}\\u{FEFF}\\u{E0041}")},
                             Case{QStringLiteral("a") + QChar(0xD83D) + u'b', QStringLiteral("a\ufffdb")}));

TEST(PrintedText, IsTheEscapedTextInQuotationMarks) {
    EXPECT_EQ(platform::printedText(QString()), QStringLiteral("\"\""));
    EXPECT_EQ(platform::printedText(QStringLiteral("a\"b\\c\n")), QStringLiteral("\"a\\\"b\\\\c\\n\""));
}

TEST(PathText, ShowsBytesThatAreNotUtf8AsReplacementCharacters) {
    EXPECT_EQ(platform::displayText("/caf\xc3\xa9/\xff"), QStringLiteral("/café/\ufffd"));
    EXPECT_EQ(platform::pathFromText(QStringLiteral("café")), std::filesystem::path("caf\xc3\xa9"));
}

} // namespace
