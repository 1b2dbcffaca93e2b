#include "collection/UserDetails.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "test_support/LoggedTest.h"

#include <QRegularExpression>
#include <ctime>

namespace {

namespace fs = std::filesystem;
using test_support::readFile;
using testing::ElementsAre;
using UtilityFunctions::CreateUserDetailContent;
using UtilityFunctions::isValidEmail;
using UtilityFunctions::tempOutputURL;

using UserDetailsTest = test_support::LoggedTest;

// --- The rule of an address ---

// The rule as it is given takes twice as long for each letter of a bad address, so it is compared on every
// text of at most six of these characters between others.
TEST(EmailRuleTest, IsTheExpressionOnEveryShortText) {
    const QRegularExpression expression(
        QRegularExpression::anchoredPattern(QStringLiteral(
            R"(^([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@(([0-9a-zA-Z][-\w]*[0-9a-zA-Z]*\.)+[a-zA-Z0-9]{2,17})$)")),
        QRegularExpression::UseUnicodePropertiesOption);
    const QString characters = QStringLiteral("a0.-_@+é");
    constexpr int texts = (8 * 8 * 8 * 8 * 8 * 8 * 8 - 1) / 7;
    for (const auto &[before, after] : {std::pair("", ""), {"", "@a.aa"}, {"a@", ""}}) {
        int addresses = 0;
        for (int number = 0; number < texts; ++number) {
            QString text = QString::fromLatin1(before);
            for (int rest = number; rest > 0; rest = (rest - 1) / 8)
                text += characters[(rest - 1) % 8];
            text += QString::fromLatin1(after);
            const bool expected = text.isEmpty() || expression.match(text).hasMatch();
            addresses += expected ? 1 : 0;
            if (isValidEmail(text) != expected)
                ADD_FAILURE() << text.toStdString() << (expected ? " is" : " is not") << " an address";
        }
        EXPECT_GT(addresses, 8);
    }
}

// Texts between bars.
void expectEach(bool isValid, const QString &texts) {
    for (const QString &text : texts.split(u'|'))
        EXPECT_EQ(isValidEmail(text), isValid) << text.toStdString();
}

// In a label of the domain counts as a letter what ICU says is one; before the at sign and in the last label
// only the letters of ASCII do.
TEST(EmailRuleTest, HoldsForEachOfATable) {
    expectEach(true,
               QString::fromUtf16(
                   u"first.last+tag@exa_mple.co|user@example.12345678901234567|a@b日本.jp|a@bе\u0301.ru|"
                   u"a@b\u0665.com|a@b\u2167.com|a@b\u203F.com|a@b\u200D.com|a@b\u24D0.com|"
                   u"a@b\U0001F130.com|a@b\U0001F189.com|a@b\U00010400.com"));
    expectEach(false, QString::fromUtf16(
                          u"user name@example.com|user@example.com\n|\nuser@example.com|"
                          u"user@example.com\u2028|user@example.123456789012345678|a@b.cd\"|"
                          u"user@[127.0.0.1]|a@b\U0001F18A.com|a@b\u00B2.com|a@b\u20AC.com|a@b\u2013.com|"
                          u"a@b\U0001F600.com|a@b\u00A0.com"));
    // Half of a surrogate pair is no letter.
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b") + QChar(0xD801) + QStringLiteral(".com")));
}

// A matcher that goes back would take hours over most of these, and one that gives up would refuse good ones.
TEST(EmailRuleTest, HostileTextsTakeNoTime) {
    const auto check = [](const char *before, const char *piece, const char *after, bool isValid) {
        SCOPED_TRACE(std::string(before) + piece + after);
        const QString text =
            QString::fromUtf8(before) + QString::fromUtf8(piece).repeated(500'000) + QString::fromUtf8(after);
        // The processor's time: the machine may have other work.
        const std::clock_t start = std::clock();
        EXPECT_EQ(isValidEmail(text), isValid);
        EXPECT_LT(std::clock() - start, 2 * CLOCKS_PER_SEC);
    };
    check("", "a-", "", false);
    check("", "a", "@", false);
    check("", "a-", "a@b.cd", true);
    check("a@", "a-", "", false);
    check("a@", "aa.", "aa!", false);
    check("a@", "aa.", "cd", true);
    check("a@b", "é", ".cd", true);
}

// An earlier record is replaced, nothing is escaped, and an invalid address is left out.
TEST_F(UserDetailsTest, TheRecordHoldsMachineAddressAndDescriptionInThisOrder) {
    tempOutputURL = home.path();
    const fs::path file = home.path() / "UserEmailFeedback.json";
    const QByteArray begin =
        "{\"machineid\":\"" + UtilityFunctions::getMachineHash().toUtf8() + "\",\"email\":\"";
    CreateUserDetailContent(QStringLiteral("user@example.com"), QStringLiteral("x"));
    EXPECT_EQ(readFile(file), begin + "user@example.com\",\"problemdesc\":\"x\"}");
    const QByteArray odd = "a \"quoted\" \\ back\nline\ttab é \U0001F600 %1 %2";
    CreateUserDetailContent(QStringLiteral("user@example"), QString::fromUtf8(odd));
    EXPECT_EQ(readFile(file), begin + "\",\"problemdesc\":\"" + odd + "\"}");
    EXPECT_EQ(begin.size(), 14 + 128 + 11);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    tempOutputURL = home.path() / "missing";
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    tempOutputURL.reset();
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    const std::string written = "INFO: File created and content written successfully.";
    EXPECT_THAT(said(), ElementsAre(written, written, "ERROR: Failed to create the file."));
}

// --- The mail ---

const QByteArray linkBegin = "mailto:lumadoc-support@brennic.example"
                             "?subject=Lumadoc%20troubleshooting%20using%20Brennic%20Lumadoc%20Diagnostics."
                             "&body=Hi%20Team,%0A%0ALocal%20Log%20ID:%20The-ID%0ADescription:%20";

std::optional<QByteArray> linkWith(const QString &description, const QString &sender = QString()) {
    return mailLink(QStringLiteral("lumadoc-support@brennic.example"), QStringLiteral("The-ID"), description,
                    sender);
}

// What RFC 3986 allows in a query stays, "&" among it. All else is encoded.
TEST(MailLinkTest, IsThePreparedMessageWithEncodedTexts) {
    EXPECT_EQ(linkWith(QStringLiteral("It crashed"), QStringLiteral("user@example.com")),
              linkBegin + "It%20crashed%0AEmail%20address:%20user@example.com%0A");
    EXPECT_EQ(linkWith(QStringLiteral("!$&'()*+,-./:;=?@_~ 100%%41#1\r\n\té\U0001F600\"<>[]\\^`{|}\u007F")),
              linkBegin + "!$&'()*+,-./:;=?@_~%20100%25%2541%231%0D%0A%09%C3%A9%F0%9F%98%80"
                          "%22%3C%3E%5B%5D%5C%5E%60%7B%7C%7D%7F%0AEmail%20address:%20%0A");
    // Half of a surrogate pair has no encoding.
    EXPECT_FALSE(linkWith(QStringLiteral("a") + QChar(0xD83D)));
    EXPECT_FALSE(mailLink(QStringLiteral("a b%"), QString(), QString(), QString()));
}

} // namespace
