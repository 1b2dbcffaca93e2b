#include "ui/FeedbackForm.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "test_support/WindowFixture.h"

#include <QRegularExpression>
#include <chrono>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using test_support::logLines;
using test_support::readFile;
using testing::ElementsAre;
using UtilityFunctions::CreateUserDetailContent;
using UtilityFunctions::isValidEmail;
using UtilityFunctions::tempOutputURL;
using Field = ContentView::Field;

class FeedbackFormTest : public WindowTest {
protected:
    // What a new window makes of a text.
    static QString described(const QString &text) {
        ContentView fresh;
        fresh.changeFeedback(text);
        EXPECT_FALSE(fresh.isInitialFocus);
        EXPECT_EQ(fresh.primaryButtonDisabled, fresh.feedbackText.value().isEmpty());
        return fresh.feedbackText;
    }
    static QString addressed(const QString &text) {
        ContentView fresh;
        fresh.changeEmail(text);
        return fresh.emailText;
    }

    ContentView view;
};

// --- Description ---

TEST_F(FeedbackFormTest, ADescriptionEnablesTheButton) {
    view.primaryButtonDisabled = true;
    Recorder recorder(view, home.path());
    view.changeFeedback(QString());
    EXPECT_THAT(recorder.take(), ElementsAre());
    view.changeFeedback(QStringLiteral("I"));
    EXPECT_THAT(recorder.take(),
                ElementsAre("feedbackText = I", "isInitialFocus = false", "primaryButtonDisabled = false"));
    view.changeFeedback(QStringLiteral("It"));
    EXPECT_THAT(recorder.take(), ElementsAre("feedbackText = It"));
    view.changeFeedback(QString());
    EXPECT_THAT(recorder.take(), ElementsAre("feedbackText = ", "primaryButtonDisabled = true"));
}

TEST_F(FeedbackFormTest, OnlyASingleBlankIsCleared) {
    for (const char16_t *blank : {u" ", u"\n"})
        EXPECT_EQ(described(QString::fromUtf16(blank)), QString());
    for (const char16_t *kept :
         {u"  ", u"\n\n", u" a", u"a ", u"a\n", u" \n", u"\u00A0", u"\r\n", u"one\ttwo\rthree\r\nfour"})
        EXPECT_EQ(described(QString::fromUtf16(kept)), QString::fromUtf16(kept));
}

TEST_F(FeedbackFormTest, TabOrReturnAtTheEndMovesToTheAddress) {
    view.changeFeedback(QStringLiteral("one\ttwo\rthree \n"));
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
    for (const char16_t *text : {u"It crashed\t", u"It crashed\r", u"\t", u"It crashed\t\r\t", u" \t"}) {
        ContentView fresh;
        fresh.feedbackFormFocus = Field::feedback;
        fresh.changeFeedback(QString::fromUtf16(text));
        EXPECT_EQ(fresh.feedbackText, QString::fromUtf16(text).trimmed());
        EXPECT_EQ(fresh.feedbackFormFocus, Field::email);
        EXPECT_FALSE(fresh.isInitialFocus);
        EXPECT_EQ(fresh.primaryButtonDisabled, fresh.feedbackText.value().isEmpty());
    }
}

// A character is what a person counts as one, of however many code points; a cut never splits one.
TEST_F(FeedbackFormTest, EachBoxKeepsItsFirstCharacters) {
    for (const char16_t *character :
         {u"x", u"\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466", u"\U0001F1E9\U0001F1EA",
          u"e\u0301\u0323", u"\u1112\u1161\u11AB", u"\U0001F600"}) {
        const QString one = QString::fromUtf16(character);
        EXPECT_EQ(described(one.repeated(2000)), one.repeated(2000));
        EXPECT_EQ(described(one.repeated(2500)), one.repeated(2000));
        EXPECT_EQ(described(QString(1999, u'a') + one + u'b'), QString(1999, u'a') + one);
        EXPECT_EQ(described(QString(2000, u'a') + one), QString(2000, u'a'));
        EXPECT_EQ(addressed(one.repeated(40) + u'a'), one.repeated(40));
        EXPECT_EQ(addressed(QString(39, u'a') + one + u'b'), QString(39, u'a') + one);
    }
    EXPECT_EQ(described(QStringLiteral("\r\n").repeated(1999) + QStringLiteral("ab")),
              QStringLiteral("\r\n").repeated(1999) + u'a');
    view.maxFeedbackCharacterCount = 3;
    view.maxEmailCharacterCount = 2;
    view.changeFeedback(QStringLiteral("abcd"));
    view.changeEmail(QStringLiteral("abcd"));
    EXPECT_EQ(view.feedbackText, QStringLiteral("abc"));
    EXPECT_EQ(view.emailText, QStringLiteral("ab"));
}

TEST_F(FeedbackFormTest, AHugePastedTextIsCutAtOnce) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(described(QString(4'000'000, u'\t')), QString());
    EXPECT_EQ(addressed(QString(4'000'000, u'\n')), QString());
    EXPECT_EQ(addressed(QString(4'000'000, u'x')), QString(40, u'x'));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// --- Address ---

TEST_F(FeedbackFormTest, AnAddressLosesItsSpacesAndTheKeyAtItsEnd) {
    struct Case {
        QString text;
        QString kept;
        Field focus;
    };
    for (const auto &[text, kept, focus] :
         {Case{QStringLiteral(" us er@exam ple.com "), QStringLiteral("user@example.com"), Field::email},
          Case{QStringLiteral("   "), QString(), Field::email},
          Case{QStringLiteral("a ").repeated(50), QString(40, u'a'), Field::email},
          Case{QStringLiteral("a\u00A0b\tc"), QStringLiteral("a\u00A0b\tc"), Field::email},
          Case{QStringLiteral("user@example.com\n"), QStringLiteral("user@example.com"), Field::email},
          Case{QStringLiteral("a@b\t"), QStringLiteral("a@b"), Field::feedback},
          Case{QStringLiteral("a@b\r"), QStringLiteral("a@b"), Field::feedback}}) {
        ContentView fresh;
        fresh.feedbackFormFocus = Field::email;
        fresh.changeEmail(text);
        EXPECT_EQ(fresh.emailText, kept);
        EXPECT_EQ(fresh.feedbackFormFocus, focus);
    }
}

TEST_F(FeedbackFormTest, AnAddressChangesNothingButItselfAndWhetherItIsValid) {
    Recorder recorder(view, home.path());
    EXPECT_TRUE(view.isEmailValid());
    view.changeEmail(QStringLiteral("bad address"));
    EXPECT_THAT(recorder.takeFields(),
                ElementsAre("emailText = bad address", "isEmailValid = false", "emailText = badaddress"));
    view.changeEmail(QStringLiteral("user@example.com "));
    EXPECT_TRUE(view.isEmailValid());
}

TEST_F(FeedbackFormTest, LeavingABoxMovesTheFocusAndLeavesTheTexts) {
    view.changeFeedback(QString(2000, u'a'));
    view.changeEmail(QString(40, u'b'));
    view.leaveFeedback();
    EXPECT_EQ(view.feedbackFormFocus, Field::email);
    view.leaveEmail();
    EXPECT_EQ(view.feedbackFormFocus, Field::feedback);
    EXPECT_EQ(view.feedbackText, QString(2000, u'a'));
    EXPECT_EQ(view.emailText, QString(40, u'b'));
}

TEST_F(FeedbackFormTest, AfterTheFirstShareADescriptionHasNoEffectOnTheButton) {
    view.changeFeedback(QStringLiteral("It crashed"));
    UtilityFunctions::ShareButtonPressed = true;
    view.leaveFeedback();
    EXPECT_EQ(view.feedbackText, QStringLiteral("It crashed"));
    view.changeFeedback(QString());
    view.changeFeedback(QStringLiteral("more\t"));
    view.changeFeedback(QString(3000, u'a'));
    EXPECT_FALSE(view.primaryButtonDisabled);
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
    EXPECT_EQ(view.feedbackText.value().size(), 3000);
    view.changeFeedback(QStringLiteral(" "));
    EXPECT_EQ(view.feedbackText, QString());
}

// --- The rule of an address ---

// The rule as it is given. Its time doubles with each letter of a bad address, so the texts of the comparison
// are short.
bool matchesExpression(const QString &email) {
    static const QRegularExpression expression = [] {
        QRegularExpression rule(
            QRegularExpression::anchoredPattern(QStringLiteral(
                R"(^([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@(([0-9a-zA-Z][-\w]*[0-9a-zA-Z]*\.)+[a-zA-Z0-9]{2,17})$)")),
            QRegularExpression::UseUnicodePropertiesOption);
        return rule;
    }();
    return email.isEmpty() || expression.match(email).hasMatch();
}

// Compares the two rules on every text of at most six of these characters between `before` and `after`.
// Gives how many of the texts are addresses.
int compare(const QString &before, const QString &after) {
    const QString characters = QStringLiteral("a0.-_@+é");
    int addresses = 0;
    QStringList texts{QString()};
    for (int length = 0; length <= 6; ++length) {
        QStringList longer;
        for (const QString &text : texts) {
            const QString whole = before + text + after;
            const bool expected = matchesExpression(whole);
            addresses += expected ? 1 : 0;
            if (isValidEmail(whole) != expected)
                ADD_FAILURE() << whole.toStdString() << (expected ? " is" : " is not") << " an address";
            for (const QChar character : characters)
                longer.append(text + character);
        }
        texts = length < 6 ? longer : QStringList();
    }
    return addresses;
}

TEST(EmailRuleTest, IsTheExpressionOnEveryShortText) {
    EXPECT_GT(compare(QString(), QString()), 8);
    EXPECT_GT(compare(QString(), QStringLiteral("@a.aa")), 126);
    EXPECT_GT(compare(QStringLiteral("a@"), QString()), 126);
}

void expectEach(bool isValid, std::initializer_list<const char16_t *> texts) {
    for (const char16_t *text : texts)
        EXPECT_EQ(isValidEmail(QString::fromUtf16(text)), isValid) << QString::fromUtf16(text).toStdString();
}

// In a label of the domain counts as a letter what ICU says is one; before the at sign and in the last label
// only the letters of ASCII do.
TEST(EmailRuleTest, HoldsForEachOfATable) {
    expectEach(true, {u"",
                      u"user@example.com",
                      u"first.last+tag@example.co",
                      u"a@b.cd",
                      u"user@example-.com",
                      u"user@exa_mple_.com",
                      u"user@a.b.c.d.ef",
                      u"user@example.12345678901234567",
                      u"a@bé.com",
                      u"a@b日本.jp",
                      u"a@bе\u0301.ru",
                      u"a@b\u0903.in",
                      u"a@b\u20DD.com",
                      u"a@b\u0665.com",
                      u"a@b\u2167.com",
                      u"a@b\u203F.com",
                      u"a@b\u200D.com",
                      u"a@b\u200C.com",
                      u"a@b\u24D0.com",
                      u"a@b\U0001F130.com",
                      u"a@b\U0001F189.com",
                      u"a@b\U00010400.com"});
    expectEach(false, {u"a@b.c",
                       u"user@example",
                       u"user",
                       u"@example.com",
                       u"user@",
                       u"user@.com",
                       u"user@@example.com",
                       u"a@b@example.com",
                       u"us..er@example.com",
                       u".user@example.com",
                       u"user.@example.com",
                       u"_@example.com",
                       u"user@example..com",
                       u"user@example.com.",
                       u"user@-example.com",
                       u"user@example.c-m",
                       u"user name@example.com",
                       u"user@exam ple.com",
                       u"user@example.com\n",
                       u"user@example.com\r\n",
                       u"\nuser@example.com",
                       u"user@example.com\u2028",
                       u"user@example.123456789012345678",
                       u"a@b.cd\"",
                       u"\"a b\"@example.com",
                       u"user@[127.0.0.1]",
                       u"é@example.com",
                       u"a@é.com",
                       u"a@b.é",
                       u"a@b.éé",
                       u"a@b\U0001F18A.com",
                       u"a@b\u00B2.com",
                       u"a@b\u00BD.com",
                       u"a@b\u20AC.com",
                       u"a@b\u2013.com",
                       u"a@b\U0001F600.com",
                       u"a@b\u00AD.com",
                       u"a@b\u00A0.com",
                       u"a@b\uFEFF.com"});
}

TEST(EmailRuleTest, HalfASurrogatePairIsNoLetter) {
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b") + QChar(0xD801) + QStringLiteral(".com")));
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b") + QChar(0xDC00) + QStringLiteral(".com")));
    EXPECT_FALSE(isValidEmail(QString(QChar(0xD801)) + QStringLiteral("@b.com")));
    EXPECT_FALSE(isValidEmail(QStringLiteral("a@b.co") + QChar(0)));
}

// A matcher that goes back would take hours over most of these, and one that gives up would refuse good ones.
TEST(EmailRuleTest, AMillionHostileCharactersTakeNoTime) {
    struct Case {
        const char *before;
        const char *piece;
        const char *after;
        bool isValid;
    };
    for (const auto &[before, piece, after, isValid] :
         {Case{"", "a", "", false}, Case{"", "a", "@", false}, Case{"", "a-", "", false},
          Case{"", "a..", "", false}, Case{"", "@", "", false}, Case{"", "a", "@b.cd", true},
          Case{"", "a-", "a@b.cd", true}, Case{"a@", "a-", "", false}, Case{"a@", "a-", ".cd", true},
          Case{"a@", "a.", "", false}, Case{"a@", "a.", "cd", true}, Case{"a@", "aa.", "aa!", false},
          Case{"a@a", "_", "!", false}, Case{"a@b", "é", ".cd", true}, Case{"a@b.", "a", "", false}}) {
        const QString one = QString::fromUtf8(piece);
        const QString text =
            QString::fromUtf8(before) + one.repeated(1'000'000 / one.size()) + QString::fromUtf8(after);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(isValidEmail(text), isValid) << before << piece << after;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1))
            << before << piece << after;
    }
}

// --- The record ---

class FeedbackRecordTest : public testing::Test {
protected:
    FeedbackRecordTest() {
        fs::create_directories(home.path() / "out");
        tempOutputURL = home.path() / "out";
    }

    QByteArray expected(const QByteArray &email, const QByteArray &feedback) const {
        return "{\"machineid\":\"" + UtilityFunctions::getMachineHash().toUtf8() + "\",\"email\":\"" + email +
               "\",\"problemdesc\":\"" + feedback + "\"}";
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path record = home.path() / "out/UserEmailFeedback.json";
};

TEST_F(FeedbackRecordTest, HoldsMachineAddressAndDescriptionInThisOrder) {
    CreateUserDetailContent(QStringLiteral("user@example.com"), QStringLiteral("It crashed"));
    EXPECT_EQ(readFile(record), expected("user@example.com", "It crashed"));
    EXPECT_EQ(readFile(record).indexOf("\",\"email\""), 14 + 128);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: File created and content written successfully.")});
}

// An earlier record is replaced, nothing is escaped, and an invalid address is left out.
TEST_F(FeedbackRecordTest, HoldsTheTextsAsTheyAre) {
    test_support::writeFile(record, QByteArray(2000, 'x'));
    CreateUserDetailContent(QStringLiteral("user@example"),
                            QStringLiteral("a \"quoted\" \\ back\nline\ttab é \U0001F600 %1 %2"));
    EXPECT_EQ(readFile(record), expected("", "a \"quoted\" \\ back\nline\ttab é \U0001F600 %1 %2"));
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_EQ(readFile(record), expected("", "x"));
    struct stat status {};
    ASSERT_EQ(::stat(record.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(FeedbackRecordTest, WithoutAnOutputFolderNothingIsWritten) {
    tempOutputURL.reset();
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_TRUE(fs::is_empty(home.path() / "out"));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(FeedbackRecordTest, AFolderThatIsGoneIsOneLine) {
    fs::remove_all(home.path() / "out");
    CreateUserDetailContent(QString(), QStringLiteral("x"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Failed to create the file.")});
}

// --- The mail ---

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

struct Encoding {
    const char16_t *description;
    const char *encoded;
};

// What RFC 3986 allows in a query stays, "&" among it. All else is encoded.
TEST(MailLinkTest, EncodesWhatAQueryDoesNotAllow) {
    const Encoding cases[] = {Encoding{u"", ""},
                              Encoding{u"a&b=c", "a&b=c"},
                              Encoding{u"100%", "100%25"},
                              Encoding{u"%41", "%2541"},
                              Encoding{u"#1", "%231"},
                              Encoding{u"one\ntwo\r\nthree\rfour", "one%0Atwo%0D%0Athree%0Dfour"},
                              Encoding{u"tab\there", "tab%09here"},
                              Encoding{u"é", "%C3%A9"},
                              Encoding{u"日本", "%E6%97%A5%E6%9C%AC"},
                              Encoding{u"\U0001F600", "%F0%9F%98%80"},
                              Encoding{u"!$&'()*+,-./:;=?@_~", "!$&'()*+,-./:;=?@_~"},
                              Encoding{u"\"<>[]\\^`{|}", "%22%3C%3E%5B%5D%5C%5E%60%7B%7C%7D"},
                              Encoding{u"az AZ 09", "az%20AZ%2009"},
                              Encoding{u"\u007F\u0001", "%7F%01"}};
    for (const auto &[description, encoded] : cases)
        EXPECT_EQ(linkWith(QString::fromUtf16(description), QString()),
                  "mailto:lumadoc-support@brennic.example" + subjectPart + bodyBegin + encoded +
                      "%0AEmail%20address:%20%0A");
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
