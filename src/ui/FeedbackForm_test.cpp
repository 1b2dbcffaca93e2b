#include "discovery/RunState.h"
#include "ui/ContentView.h"
#include "ui/WindowTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Field = ContentView::Field;

class FeedbackFormTest : public WindowTest {
protected:
    void freeze() { UtilityFunctions::ShareButtonPressed = true; }

    ContentView view;
};

// One grapheme cluster each, of many code points.
const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466");
const QString flag = QStringLiteral("\U0001F1E9\U0001F1EA");
const QString accented = QStringLiteral("e\u0301\u0323");
const QString lineEnd = QStringLiteral("\r\n");
const QString hangul = QStringLiteral("\u1112\u1161\u11AB");

// --- Description ---

TEST_F(FeedbackFormTest, ADescriptionEnablesTheButton) {
    view.primaryButtonDisabled = true;
    Recorder recorder(view, home.path());
    view.changeFeedback(QStringLiteral("I"));
    EXPECT_THAT(recorder.take(),
                ElementsAre("feedbackText = I", "isInitialFocus = false", "primaryButtonDisabled = false"));
    view.changeFeedback(QStringLiteral("It"));
    EXPECT_THAT(recorder.take(), ElementsAre("feedbackText = It"));
}

TEST_F(FeedbackFormTest, AnEmptiedDescriptionDisablesTheButton) {
    view.changeFeedback(QStringLiteral("I"));
    EXPECT_FALSE(view.primaryButtonDisabled);
    Recorder recorder(view, home.path());
    view.changeFeedback(QString());
    EXPECT_THAT(recorder.take(), ElementsAre("feedbackText = ", "primaryButtonDisabled = true"));
}

TEST_F(FeedbackFormTest, TheSameTextAgainIsNoChange) {
    Recorder recorder(view, home.path());
    view.changeFeedback(QString());
    EXPECT_THAT(recorder.take(), IsEmpty());
}

TEST_F(FeedbackFormTest, ADescriptionDoesNotBeginWithASpaceOrALineFeed) {
    for (const QString &blank : {QStringLiteral(" "), QStringLiteral("\n")}) {
        ContentView fresh;
        fresh.changeFeedback(blank);
        EXPECT_EQ(fresh.feedbackText, QString());
        EXPECT_FALSE(fresh.isInitialFocus);
        EXPECT_TRUE(fresh.primaryButtonDisabled);
        EXPECT_EQ(fresh.feedbackFormFocus, Field::noField);
    }
}

TEST_F(FeedbackFormTest, OnlyASingleBlankIsCleared) {
    for (const QString &text :
         {QStringLiteral("  "), QStringLiteral("\n\n"), QStringLiteral(" a"), QStringLiteral("a "),
          QStringLiteral("a\n"), QStringLiteral(" \n"), QStringLiteral("\u00A0"), lineEnd}) {
        view.changeFeedback(text);
        EXPECT_EQ(view.feedbackText, text);
        EXPECT_FALSE(view.primaryButtonDisabled);
    }
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
}

TEST_F(FeedbackFormTest, TabOrReturnAtTheEndMovesToTheEMailBox) {
    for (const QString &key : {QStringLiteral("\t"), QStringLiteral("\r")}) {
        ContentView fresh;
        fresh.feedbackFormFocus = Field::feedback;
        fresh.changeFeedback(QStringLiteral("It crashed"));
        EXPECT_EQ(fresh.feedbackFormFocus, Field::feedback);
        fresh.changeFeedback(QStringLiteral("It crashed") + key);
        EXPECT_EQ(fresh.feedbackText, QStringLiteral("It crashed"));
        EXPECT_EQ(fresh.feedbackFormFocus, Field::email);
        EXPECT_FALSE(fresh.primaryButtonDisabled);
    }
}

TEST_F(FeedbackFormTest, ATabAloneMovesAndLeavesTheDescriptionMissing) {
    view.changeFeedback(QStringLiteral("\t"));
    EXPECT_EQ(view.feedbackText, QString());
    EXPECT_EQ(view.feedbackFormFocus, Field::email);
    EXPECT_FALSE(view.isInitialFocus);
    EXPECT_TRUE(view.primaryButtonDisabled);
}

TEST_F(FeedbackFormTest, WhatTheRulesChangeIsJudgedAgain) {
    view.changeFeedback(QStringLiteral("a\t\r\t"));
    EXPECT_EQ(view.feedbackText, QStringLiteral("a"));
    view.changeFeedback(QStringLiteral(" \t"));
    EXPECT_EQ(view.feedbackText, QString());
    EXPECT_TRUE(view.primaryButtonDisabled);
}

TEST_F(FeedbackFormTest, TabOrReturnInTheMiddleStays) {
    const QString pasted = QStringLiteral("one\ttwo\rthree\r\nfour");
    view.changeFeedback(pasted);
    EXPECT_EQ(view.feedbackText, pasted);
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
}

TEST_F(FeedbackFormTest, APastedDescriptionKeepsItsFirst2000Characters) {
    QString text;
    for (int i = 0; i < 2500; ++i)
        text += QChar(u'a' + i % 26);
    view.changeFeedback(text);
    EXPECT_EQ(view.feedbackText, text.first(2000));
    EXPECT_FALSE(view.primaryButtonDisabled);
}

TEST_F(FeedbackFormTest, ExactlyTheLimitStays) {
    view.changeFeedback(QString(2000, u'a'));
    EXPECT_EQ(view.feedbackText.value().size(), 2000);
    view.changeFeedback(QString(2000, u'a') + u'b');
    EXPECT_EQ(view.feedbackText, QString(2000, u'a'));
}

TEST_F(FeedbackFormTest, AClusterCountsAsOneCharacterOfADescription) {
    for (const QString &cluster : {family, flag, accented, hangul}) {
        view.changeFeedback(cluster.repeated(2000));
        EXPECT_EQ(view.feedbackText, cluster.repeated(2000));
        view.changeFeedback(cluster.repeated(2001));
        EXPECT_EQ(view.feedbackText, cluster.repeated(2000));
        view.changeFeedback(QString(1999, u'a') + cluster + u'b');
        EXPECT_EQ(view.feedbackText, QString(1999, u'a') + cluster);
    }
}

TEST_F(FeedbackFormTest, AClusterCountsAsOneCharacterOfAnAddress) {
    for (const QString &cluster : {family, flag, accented, hangul}) {
        view.changeEmail(cluster.repeated(40) + u'a');
        EXPECT_EQ(view.emailText, cluster.repeated(40));
        view.changeEmail(QString(39, u'a') + cluster + u'b');
        EXPECT_EQ(view.emailText, QString(39, u'a') + cluster);
        view.changeEmail(QString(40, u'a') + cluster);
        EXPECT_EQ(view.emailText, QString(40, u'a'));
    }
}

TEST_F(FeedbackFormTest, AWindowsLineEndCountsAsOneCharacter) {
    view.changeFeedback(lineEnd.repeated(1999) + QStringLiteral("ab"));
    EXPECT_EQ(view.feedbackText, lineEnd.repeated(1999) + u'a');
}

// A cut is behind a whole cluster: what stands there never ends in half of a surrogate pair.
TEST_F(FeedbackFormTest, ACutNeverSplitsACharacter) {
    view.changeFeedback(QString(1999, u'a') + QStringLiteral("\U0001F600\U0001F600"));
    EXPECT_EQ(view.feedbackText, QString(1999, u'a') + QStringLiteral("\U0001F600"));
    EXPECT_TRUE(view.feedbackText.value().isValidUtf16());
}

TEST_F(FeedbackFormTest, AHugePastedTextIsCutAtOnce) {
    const auto start = std::chrono::steady_clock::now();
    view.changeFeedback(QString(4'000'000, u'\t'));
    EXPECT_EQ(view.feedbackText, QString());
    view.changeEmail(QString(4'000'000, u'\n'));
    EXPECT_EQ(view.emailText, QString());
    view.changeEmail(QString(4'000'000, u'x'));
    EXPECT_EQ(view.emailText, QString(40, u'x'));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// --- Address ---

TEST_F(FeedbackFormTest, SpacesInAnAddressGo) {
    view.changeEmail(QStringLiteral(" us er@exam ple.com "));
    EXPECT_EQ(view.emailText, QStringLiteral("user@example.com"));
    view.changeEmail(QStringLiteral("user@example.com "));
    EXPECT_EQ(view.emailText, QStringLiteral("user@example.com"));
    view.changeEmail(QStringLiteral("   "));
    EXPECT_EQ(view.emailText, QString());
}

TEST_F(FeedbackFormTest, OtherBlanksInAnAddressStay) {
    view.changeEmail(QStringLiteral("a\u00A0b\tc"));
    EXPECT_EQ(view.emailText, QStringLiteral("a\u00A0b\tc"));
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
}

TEST_F(FeedbackFormTest, SpacesGoBeforeAnAddressIsCut) {
    view.changeEmail(QStringLiteral("a ").repeated(50));
    EXPECT_EQ(view.emailText, QString(40, u'a'));
}

TEST_F(FeedbackFormTest, ALineFeedAtTheEndOfAnAddressGoesAndTheFocusStays) {
    view.feedbackFormFocus = Field::email;
    view.changeEmail(QStringLiteral("user@example.com\n"));
    EXPECT_EQ(view.emailText, QStringLiteral("user@example.com"));
    EXPECT_EQ(view.feedbackFormFocus, Field::email);
}

TEST_F(FeedbackFormTest, TabOrReturnAtTheEndOfAnAddressMovesBack) {
    for (const QString &key : {QStringLiteral("\t"), QStringLiteral("\r")}) {
        view.feedbackFormFocus = Field::email;
        view.changeEmail(QStringLiteral("a@b") + key);
        EXPECT_EQ(view.emailText, QStringLiteral("a@b"));
        EXPECT_EQ(view.feedbackFormFocus, Field::feedback);
    }
}

TEST_F(FeedbackFormTest, AnAddressKeepsItsFirst40Characters) {
    view.changeEmail(QString(40, u'a') + QStringLiteral("@example.com"));
    EXPECT_EQ(view.emailText, QString(40, u'a'));
}

TEST_F(FeedbackFormTest, AnAddressChangesNothingButItself) {
    Recorder recorder(view, home.path());
    view.changeEmail(QStringLiteral("bad address"));
    EXPECT_THAT(recorder.takeFields(),
                ElementsAre("emailText = bad address", "isEmailValid = false", "emailText = badaddress"));
}

TEST_F(FeedbackFormTest, TheWindowKnowsWhetherTheAddressIsOne) {
    EXPECT_TRUE(view.isEmailValid());
    view.changeEmail(QStringLiteral("user@example"));
    EXPECT_FALSE(view.isEmailValid());
    view.changeEmail(QStringLiteral("user@example.com"));
    EXPECT_TRUE(view.isEmailValid());
    view.changeEmail(QStringLiteral("user@example.com "));
    EXPECT_TRUE(view.isEmailValid());
    view.changeEmail(QString());
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

TEST_F(FeedbackFormTest, TheLimitsAreTheFields) {
    view.maxFeedbackCharacterCount = 3;
    view.maxEmailCharacterCount = 2;
    view.changeFeedback(QStringLiteral("abcd"));
    view.changeEmail(QStringLiteral("abcd"));
    EXPECT_EQ(view.feedbackText, QStringLiteral("abc"));
    EXPECT_EQ(view.emailText, QStringLiteral("ab"));
}

// --- Behind the first share ---

TEST_F(FeedbackFormTest, BehindTheFirstShareADescriptionHasNoEffectOnTheButton) {
    view.changeFeedback(QStringLiteral("It crashed"));
    freeze();
    Recorder recorder(view, home.path());
    view.changeFeedback(QString());
    view.changeFeedback(QStringLiteral("more\t"));
    view.changeFeedback(QString(3000, u'a'));
    EXPECT_FALSE(view.primaryButtonDisabled);
    EXPECT_EQ(view.feedbackFormFocus, Field::noField);
    EXPECT_EQ(view.feedbackText.value().size(), 3000);
    view.changeFeedback(QStringLiteral(" "));
    EXPECT_EQ(view.feedbackText, QString());
}

TEST_F(FeedbackFormTest, BehindTheFirstShareLeavingABoxAddsNothingToIt) {
    view.changeFeedback(QStringLiteral("It crashed"));
    view.changeEmail(QStringLiteral("a@b.cd"));
    freeze();
    view.leaveFeedback();
    view.leaveEmail();
    EXPECT_EQ(view.feedbackText, QStringLiteral("It crashed"));
    EXPECT_EQ(view.emailText, QStringLiteral("a@b.cd"));
}

} // namespace
