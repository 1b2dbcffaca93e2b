#include "discovery/RunState.h"
#include "test_support/WindowFixture.h"

#include <ctime>

namespace {

using testing::ElementsAre;
using Field = ContentView::Field;

class FeedbackFormTest : public WindowTest {
protected:
    // What a new window makes of a text in the box of the description, and which box has the focus then.
    static QString described(const QString &text, Field focus = Field::noField) {
        ContentView fresh;
        fresh.changeFeedback(text);
        EXPECT_FALSE(fresh.isInitialFocus);
        EXPECT_EQ(fresh.primaryButtonDisabled, fresh.feedbackText.value().isEmpty());
        EXPECT_EQ(fresh.feedbackFormFocus, focus) << text.toStdString();
        return fresh.feedbackText;
    }
    // The same for the address, where the description is none of its business.
    static QString addressed(const QString &text, Field focus = Field::noField) {
        ContentView fresh;
        fresh.changeEmail(text);
        EXPECT_TRUE(fresh.isInitialFocus);
        EXPECT_EQ(fresh.feedbackFormFocus, focus) << text.toStdString();
        return fresh.emailText;
    }

    ContentView view;
    Recorder record{view, home.path()};
};

TEST_F(FeedbackFormTest, ADescriptionEnablesTheButton) {
    view.changeFeedback(QStringLiteral("I"));
    EXPECT_THAT(record.take(), ElementsAre("feedbackText = I", "isInitialFocus = false"));
    view.changeFeedback(QString());
    EXPECT_THAT(record.take(), ElementsAre("feedbackText = ", "primaryButtonDisabled = true"));
    view.changeFeedback(QString());
    EXPECT_THAT(record.take(), ElementsAre());
    view.changeFeedback(QStringLiteral("It"));
    EXPECT_THAT(record.take(), ElementsAre("feedbackText = It", "primaryButtonDisabled = false"));
}

TEST_F(FeedbackFormTest, ASingleBlankIsClearedAndAKeyAtTheEndLeadsToTheAddress) {
    for (const char16_t *blank : {u" ", u"\n"})
        EXPECT_EQ(described(QString::fromUtf16(blank)), QString());
    for (const char16_t *kept : {u"  ", u"\n\n", u" a", u"a ", u"a\n", u"\u00A0", u"one\ttwo\r\nfour"})
        EXPECT_EQ(described(QString::fromUtf16(kept)), QString::fromUtf16(kept));
    for (const char16_t *text : {u"It crashed\t", u"It crashed\r\t", u" \t"})
        EXPECT_EQ(described(QString::fromUtf16(text), Field::email), QString::fromUtf16(text).trimmed());
}

TEST_F(FeedbackFormTest, AnAddressLosesItsSpacesAndTheKeyAtItsEnd) {
    struct Case {
        const char16_t *text;
        const char16_t *kept;
        Field focus = Field::noField;
    };
    for (const auto &[text, kept, focus] :
         {Case{u" us er@exam ple.com ", u"user@example.com"}, Case{u"a\u00A0b\tc", u"a\u00A0b\tc"},
          Case{u"user@example.com\r\n", u"user@example.com"},
          Case{u"user@\nexample.com", u"user@example.com"}, Case{u"a@b\t", u"a@b", Field::feedback},
          Case{u"a@b\r", u"a@b", Field::feedback}})
        EXPECT_EQ(addressed(QString::fromUtf16(text), focus), QString::fromUtf16(kept));
    EXPECT_EQ(addressed(QStringLiteral("a ").repeated(50)), QString(40, u'a'));
    view.changeEmail(QStringLiteral("bad address"));
    EXPECT_THAT(record.take(),
                ElementsAre("emailText = bad address", "isEmailValid = false", "emailText = badaddress"));
}

// A character is what a person counts as one, of however many code points; a cut never splits one.
TEST_F(FeedbackFormTest, EachBoxKeepsItsFirstCharacters) {
    for (const char16_t *character :
         {u"\U0001F468\u200D\U0001F469\u200D\U0001F467", u"\U0001F1E9\U0001F1EA", u"e\u0301\u0323"}) {
        const QString one = QString::fromUtf16(character);
        EXPECT_EQ(described(one.repeated(2000)), one.repeated(2000));
        EXPECT_EQ(described(one.repeated(2500)), one.repeated(2000));
        EXPECT_EQ(described(QString(1999, u'a') + one + u'b'), QString(1999, u'a') + one);
        EXPECT_EQ(described(QString(2000, u'a') + one), QString(2000, u'a'));
        EXPECT_EQ(addressed(one.repeated(40) + u'a'), one.repeated(40));
    }
    EXPECT_EQ(described(QStringLiteral("\r\n").repeated(1999) + QStringLiteral("ab")),
              QStringLiteral("\r\n").repeated(1999) + u'a');
}

TEST_F(FeedbackFormTest, AHugePastedTextIsCutAtOnce) {
    // The processor's time: the machine may have other work.
    const std::clock_t start = std::clock();
    EXPECT_EQ(described(QString(4'000'000, u'\t'), Field::email), QString());
    EXPECT_EQ(addressed(QString(4'000'000, u'\n')), QString());
    EXPECT_EQ(addressed(QString(4'000'000, u'x')), QString(40, u'x'));
    EXPECT_LT(std::clock() - start, 10 * CLOCKS_PER_SEC);
}

TEST_F(FeedbackFormTest, AfterTheFirstShareADescriptionHasNoEffectOnTheButton) {
    view.changeFeedback(QStringLiteral("It crashed"));
    record.take();
    UtilityFunctions::ShareButtonPressed = true;
    view.leaveFeedback();
    for (const char *text : {"", "more\t", " "})
        view.changeFeedback(QString::fromLatin1(text));
    view.changeFeedback(QString(3000, u'a'));
    EXPECT_THAT(record.take(), ElementsAre("feedbackText = ", "feedbackText = more\t", "feedbackText =  ",
                                           "feedbackText = ", "feedbackText = " + std::string(3000, 'a')));
}

} // namespace
