// The rules of the two text boxes. Each is applied to a box's text after every change of it, its own
// included.
#include "ui/ContentView.h"

#include "discovery/RunState.h"

#include <QTextBoundaryFinder>

namespace {

// The first `limit` characters as a person counts them.
QString firstCharacters(const QString &text, qint64 limit) {
    // No character is longer than its code units.
    if (text.size() <= limit)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qint64 count = 0; count < limit; ++count) {
        end = finder.toNextBoundary();
        if (end < 0)
            return text;
    }
    return text.first(end);
}

bool endsInTabOrReturn(const QString &text) {
    return text.endsWith(u'\r') || text.endsWith(u'\t');
}

} // namespace

void ContentView::changeFeedback(const QString &text) {
    if (feedbackText.value() == text)
        return;
    feedbackText = text;
    applyFeedbackRules();
}

void ContentView::applyFeedbackRules() {
    const QString before = feedbackText;
    // A description does not begin with blank input.
    if (before == u" " || before == u"\n")
        feedbackText = QString();
    if (UtilityFunctions::ShareButtonPressed)
        return;
    if (endsInTabOrReturn(feedbackText)) {
        feedbackFormFocus = Field::email;
        feedbackText = feedbackText.value().chopped(1);
    }
    feedbackText = firstCharacters(feedbackText, maxFeedbackCharacterCount);
    isInitialFocus = false;
    primaryButtonDisabled = feedbackText.value().isEmpty();
    if (feedbackText.value() != before)
        applyFeedbackRules();
}

void ContentView::changeEmail(const QString &text) {
    if (emailText.value() == text)
        return;
    emailText = text;
    applyEmailRules();
}

void ContentView::applyEmailRules() {
    const QString before = emailText;
    QString text = before;
    if (text.endsWith(u'\n')) {
        text.chop(1);
    } else if (endsInTabOrReturn(text)) {
        text.chop(1);
        feedbackFormFocus = Field::feedback;
    }
    text.remove(u' ');
    emailText = firstCharacters(text, maxEmailCharacterCount);
    if (emailText.value() != before)
        applyEmailRules();
}

// What the rules make of the key at the end of the text: it goes, and the other box gets the focus. The text
// itself stays, so that the box has nothing to show anew.
void ContentView::leaveFeedback() {
    if (UtilityFunctions::ShareButtonPressed)
        return;
    feedbackFormFocus = Field::email;
    applyFeedbackRules();
}

void ContentView::leaveEmail() {
    feedbackFormFocus = Field::feedback;
}
