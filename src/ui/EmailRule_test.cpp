#include "ui/EmailRule.h"

#include <QRegularExpression>
#include <chrono>
#include <gtest/gtest.h>
#include <vector>

namespace {

using UtilityFunctions::isValidEmail;

// The rule as it is given. Its matcher goes back and forth, in time that doubles with each letter of a bad
// address; the texts of the comparison are short.
bool matchesExpression(const QString &email) {
    static const QRegularExpression expression = [] {
        QRegularExpression rule(
            QRegularExpression::anchoredPattern(QStringLiteral(
                R"(^([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@(([0-9a-zA-Z][-\w]*[0-9a-zA-Z]*\.)+[a-zA-Z0-9]{2,17})$)")),
            QRegularExpression::UseUnicodePropertiesOption);
        rule.optimize();
        return rule;
    }();
    return email.isEmpty() || expression.match(email).hasMatch();
}

// Calls `check` with `before`, each text of the letters up to `limit` of them, and `after`.
template <typename Check>
void forAllTexts(const QString &before, const QString &letters, qsizetype limit, const QString &after,
                 Check check) {
    std::vector<qsizetype> digits;
    for (QString text = before + after; digits.size() <= static_cast<std::size_t>(limit);) {
        check(text);
        std::size_t place = 0;
        while (place < digits.size() && ++digits[place] == letters.size())
            digits[place++] = 0;
        if (place == digits.size())
            digits.push_back(0);
        if (digits.size() > static_cast<std::size_t>(limit))
            return;
        text = before;
        for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit)
            text += letters[*digit];
        text += after;
    }
}

// How many texts were compared, and how many of them are addresses.
struct Comparison {
    int texts = 0;
    int addresses = 0;
};

Comparison compare(const QString &before, const QString &letters, qsizetype limit, const QString &after) {
    Comparison result;
    forAllTexts(before, letters, limit, after, [&](const QString &text) {
        const bool expected = matchesExpression(text);
        ++result.texts;
        result.addresses += expected ? 1 : 0;
        if (isValidEmail(text) != expected)
            ADD_FAILURE() << text.toStdString() << (expected ? " is" : " is not") << " an address";
    });
    return result;
}

TEST(EmailRuleTest, IsTheExpressionOnEveryShortText) {
    const Comparison all = compare(QString(), QStringLiteral("a0.-_@+é"), 6, QString());
    EXPECT_EQ(all.texts, 299593);
    EXPECT_GT(all.addresses, 8);
}

TEST(EmailRuleTest, IsTheExpressionOnEveryShortLocalPart) {
    const Comparison all = compare(QString(), QStringLiteral("a0.-_@+é"), 6, QStringLiteral("@a.aa"));
    EXPECT_EQ(all.texts, 299593);
    EXPECT_GT(all.addresses, 126);
}

TEST(EmailRuleTest, IsTheExpressionOnEveryShortDomain) {
    const Comparison all = compare(QStringLiteral("a@"), QStringLiteral("a0.-_@+é"), 6, QString());
    EXPECT_EQ(all.texts, 299593);
    EXPECT_GT(all.addresses, 126);
}

struct Case {
    const char16_t *text;
    bool isValid;
};

void expectEach(std::initializer_list<Case> cases) {
    for (const Case &each : cases)
        EXPECT_EQ(isValidEmail(QString::fromUtf16(each.text)), each.isValid)
            << QString::fromUtf16(each.text).toStdString();
}

TEST(EmailRuleTest, HoldsForEachOfATable) {
    expectEach({Case{u"", true},
                Case{u"user@example.com", true},
                Case{u"first.last+tag@example.co", true},
                Case{u"a@b.cd", true},
                Case{u"a@b.c", false},
                Case{u"user@example", false},
                Case{u"user", false},
                Case{u"@example.com", false},
                Case{u"user@", false},
                Case{u"user@.com", false},
                Case{u"user@@example.com", false},
                Case{u"a@b@example.com", false},
                Case{u"us..er@example.com", false},
                Case{u".user@example.com", false},
                Case{u"user.@example.com", false},
                Case{u"_@example.com", false},
                Case{u"user@example..com", false},
                Case{u"user@example.com.", false},
                Case{u"user@-example.com", false},
                Case{u"user@example-.com", true},
                Case{u"user@exa_mple_.com", true},
                Case{u"user@a.b.c.d.ef", true},
                Case{u"user@example.c-m", false},
                Case{u"user name@example.com", false},
                Case{u"user@exam ple.com", false},
                Case{u"user@example.com\n", false},
                Case{u"user@example.com\r\n", false},
                Case{u"\nuser@example.com", false},
                Case{u"user@example.com\u2028", false},
                Case{u"user@example.12345678901234567", true},
                Case{u"user@example.123456789012345678", false},
                Case{u"a@b.cd\"", false},
                Case{u"\"a b\"@example.com", false},
                Case{u"user@[127.0.0.1]", false}});
}

// In a domain's piece counts as a letter what ICU says is one; before the at sign and in the last piece only
// the letters of ASCII do.
TEST(EmailRuleTest, KnowsTheLettersOfAllScripts) {
    expectEach({Case{u"é@example.com", false},
                Case{u"a@é.com", false},
                Case{u"a@bé.com", true},
                Case{u"a@b.é", false},
                Case{u"a@b.éé", false},
                Case{u"a@b日本.jp", true},
                Case{u"a@bе\u0301.ru", true}, // combining accent
                Case{u"a@b\u0903.in", true},  // spacing mark
                Case{u"a@b\u20DD.com", true}, // enclosing mark
                Case{u"a@b\u0665.com", true}, // Arabic digit five
                Case{u"a@b\u2167.com", true}, // Roman numeral eight
                Case{u"a@b\u203F.com", true}, // undertie
                Case{u"a@b\u200D.com", true},
                Case{u"a@b\u200C.com", true}, // joiners
                Case{u"a@b\u24D0.com", true}, // circled a
                Case{u"a@b\U0001F130.com", true},
                Case{u"a@b\U0001F189.com", true},
                Case{u"a@b\U0001F18A.com", false},
                Case{u"a@b\U00010400.com", true}, // Deseret letter
                Case{u"a@b\u00B2.com", false},    // superscript two
                Case{u"a@b\u00BD.com", false},    // one half
                Case{u"a@b\u20AC.com", false},
                Case{u"a@b\u2013.com", false},
                Case{u"a@b\U0001F600.com", false},
                Case{u"a@b\u00AD.com", false},
                Case{u"a@b\u00A0.com", false},
                Case{u"a@b\uFEFF.com", false}});
}

TEST(EmailRuleTest, HalfASurrogatePairIsNoLetter) {
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b") + QChar(0xD801) + QStringLiteral(".com")));
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b") + QChar(0xDC00) + QStringLiteral(".com")));
    EXPECT_FALSE(isValidEmail(QString(QChar(0xD801)) + QStringLiteral("@b.com")));
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b.co") + QChar(0)));
}

std::chrono::duration<double, std::milli> timeOf(const QString &text) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(isValidEmail(text));
    return std::chrono::steady_clock::now() - start;
}

// A matcher that goes back and forth takes hours over some of these.
TEST(EmailRuleTest, AnyTextOf40CharactersTakesLessThanAMillisecond) {
    for (const QString &text :
         {QString(40, u'a'), QString(39, u'a') + u'!', QStringLiteral("a.").repeated(20),
          QStringLiteral("a@") + QString(38, u'a'), QStringLiteral("a@") + QStringLiteral("a.").repeated(19),
          QStringLiteral("a@") + QString(37, u'-') + u'!', QStringLiteral("a@a") + QString(36, u'_') + u'!',
          QStringLiteral("a@") + QString(19, u'a') + u'.' + QString(18, u'a'), QString(40, u'@'),
          QString(40, u'.'), QStringLiteral("a@aé") + QString(34, u'a') + QStringLiteral(".c")}) {
        double best = 1e9;
        for (int attempt = 0; attempt < 5; ++attempt)
            best = std::min(best, timeOf(text).count());
        EXPECT_LT(best, 1.0) << text.toStdString();
    }
}

// Four times the text takes about four times as long; a quadratic rule would take sixteen times, or an hour.
TEST(EmailRuleTest, TimeIsLinearInTheText) {
    for (const char16_t *piece : {u"a", u"a.", u"a@", u"a-", u"."}) {
        const QString quarter = QStringLiteral("a@") + QString::fromUtf16(piece).repeated(
                                                           262'144 / QString::fromUtf16(piece).size());
        double small = 1e9;
        double large = 1e9;
        for (int attempt = 0; attempt < 3; ++attempt) {
            small = std::min(small, timeOf(quarter).count());
            large = std::min(large, timeOf(quarter.repeated(4)).count());
        }
        EXPECT_LT(large, 10 * small + 5) << QString::fromUtf16(piece).toStdString();
    }
}

} // namespace
