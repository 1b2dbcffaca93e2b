#include "ui/MailLink.h"

#include <QUrl>
#include <gtest/gtest.h>

namespace {

const QString support = QStringLiteral("lumadoc-support@brennic.example");
const QString logId = QStringLiteral("01234567-89ab-4cde-8f01-23456789abcd");
const QByteArray subjectPart =
    "?subject=Lumadoc%20troubleshooting%20using%20Brennic%20Lumadoc%20Diagnostics.";
const QByteArray bodyBegin = "&body=Hi%20Team,%0A%0ALocal%20Log%20ID:%2001234567-89ab-4cde-8f01-23456789abcd"
                             "%0ADescription:%20";

std::optional<QByteArray> linkWith(const QString &description, const QString &sender) {
    return mailLink(support, logId, description, sender);
}

TEST(MailLinkTest, IsThePreparedMessage) {
    EXPECT_EQ(linkWith(QStringLiteral("It crashed"), QStringLiteral("user@example.com")),
              "mailto:lumadoc-support@brennic.example" + subjectPart + bodyBegin +
                  "It%20crashed%0AEmail%20address:%20user@example.com%0A");
}

TEST(MailLinkTest, IsTheSameWithNothingSaid) {
    EXPECT_EQ(linkWith(QString(), QString()), "mailto:lumadoc-support@brennic.example" + subjectPart +
                                                  bodyBegin + "%0AEmail%20address:%20%0A");
}

struct Case {
    const char16_t *description;
    const char *encoded;
};

// What RFC 3986 allows in a query stays, "&" among it. All else is encoded.
TEST(MailLinkTest, EncodesWhatAQueryDoesNotAllow) {
    const Case cases[] = {Case{u"a&b=c", "a&b=c"},
                          Case{u"100%", "100%25"},
                          Case{u"%41", "%2541"},
                          Case{u"#1", "%231"},
                          Case{u"one\ntwo\r\nthree\rfour", "one%0Atwo%0D%0Athree%0Dfour"},
                          Case{u"tab\there", "tab%09here"},
                          Case{u"é", "%C3%A9"},
                          Case{u"日本", "%E6%97%A5%E6%9C%AC"},
                          Case{u"\U0001F600", "%F0%9F%98%80"},
                          Case{u"!$&'()*+,-./:;=?@_~", "!$&'()*+,-./:;=?@_~"},
                          Case{u"\"<>[]\\^`{|}", "%22%3C%3E%5B%5D%5C%5E%60%7B%7C%7D"},
                          Case{u"az AZ 09", "az%20AZ%2009"},
                          Case{u"\u007F\u0001", "%7F%01"}};
    for (const auto &[description, encoded] : cases)
        EXPECT_EQ(linkWith(QString::fromUtf16(description), QString()),
                  "mailto:lumadoc-support@brennic.example" + subjectPart + bodyBegin + encoded +
                      "%0AEmail%20address:%20%0A");
}

TEST(MailLinkTest, GivesBackTheTextWhenItIsDecoded) {
    const QString description =
        QStringLiteral("50 % of \"pages\" #1…\nfailed + more\U0001F469\u200D\U0001F467");
    const auto link = linkWith(description, QStringLiteral("né@example.com"));
    ASSERT_TRUE(link);
    const QUrl url = QUrl::fromEncoded(*link, QUrl::StrictMode);
    EXPECT_EQ(url.scheme(), QStringLiteral("mailto"));
    EXPECT_EQ(url.path(), support);
    EXPECT_FALSE(url.hasFragment());
    const QByteArray body = link->mid(link->indexOf("&body=") + 6);
    EXPECT_EQ(QString::fromUtf8(QByteArray::fromPercentEncoding(body)),
              QStringLiteral("Hi Team,\n\nLocal Log ID: ") + logId + QStringLiteral("\nDescription: ") +
                  description + QStringLiteral("\nEmail address: né@example.com\n"));
}

TEST(MailLinkTest, TheLongestDescriptionFits) {
    const auto link = linkWith(QString(2000, u'é'), QString(40, u'a'));
    ASSERT_TRUE(link);
    EXPECT_EQ(link->count("%C3%A9"), 2000);
}

TEST(MailLinkTest, HalfASurrogatePairHasNoEncoding) {
    EXPECT_FALSE(linkWith(QStringLiteral("a") + QChar(0xD83D), QString()));
    EXPECT_FALSE(linkWith(QChar(0xDE00) + QStringLiteral("a"), QString()));
    EXPECT_FALSE(linkWith(QString(), QString(QChar(0xD83D))));
}

TEST(MailLinkTest, AnAddressThatMakesNoUrlHasNoLink) {
    EXPECT_FALSE(mailLink(QStringLiteral("a b%"), logId, QString(), QString()));
}

} // namespace
