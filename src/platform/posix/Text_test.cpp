#include "platform/posix/Text.h"

#include <gtest/gtest.h>

namespace {

TEST(EscapedText, IsOnOneLineAndHarmless) {
    const std::pair<QString, QString> cases[] = {
        {QString(), QString()},
        // Ordinary text, surrogate pairs and the joiners stay.
        {QStringLiteral("a b~ \"é€😀\" \u200c\u200d"), QStringLiteral("a b~ \"é€😀\" \u200c\u200d")},
        {QStringLiteral("\\n"), QStringLiteral("\\\\n")},
        {QStringLiteral("a\nb\rc\td"), QStringLiteral("a\\nb\\rc\\td")},
        {QStringLiteral("\x1b[0m\x7f\u0085") + QChar(0), QStringLiteral("\\u{1B}[0m\\u{7F}\\u{85}\\u{0}")},
        {QStringLiteral("\u2028\u2029"), QStringLiteral("\\u{2028}\\u{2029}")},
        // Direction marks, and a format character beyond the first plane.
        {QStringLiteral("\u061c\u202e\u2066\ufeff\U000e0041"),
         QStringLiteral("\\u{61C}\\u{202E}\\u{2066}\\u{FEFF}\\u{E0041}")},
        {QStringLiteral("a") + QChar(0xD83D) + u'b', QStringLiteral("a\ufffdb")}};
    for (const auto &[text, escaped] : cases)
        EXPECT_EQ(platform::escaped(text), escaped);
    EXPECT_EQ(platform::shown(QStringLiteral("\\n\n")), QStringLiteral("\\n\\n"));
}

TEST(PathText, ShowsBytesThatAreNotUtf8AsReplacementCharacters) {
    EXPECT_EQ(platform::displayText("/caf\xc3\xa9/\xff"), QStringLiteral("/café/\ufffd"));
    EXPECT_EQ(platform::pathFromText(QStringLiteral("café")), std::filesystem::path("caf\xc3\xa9"));
}

} // namespace
