// The rules of the two text boxes, each applied to a box's text after every change of it, until they change
// nothing more.
#include "discovery/RunState.h"
#include "ui/ContentView.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTextCursor>

namespace {

bool endsInTabOrReturn(const QString &text) {
    return text.endsWith(u'\r') || text.endsWith(u'\t');
}

// What an address does not have, and a pasted one often brings along.
bool isBlank(QChar character) {
    return character == u' ' || character == u'\n' || character == u'\r';
}

} // namespace

int ContentView::changeFeedback(const QString &text, int caret) {
    feedbackText = text;
    applyFeedbackRules();
    return std::min(caret, int(feedbackText.value().size()));
}

void ContentView::applyFeedbackRules() {
    const bool isFixed = UtilityFunctions::ShareButtonPressed;
    QString kept = feedbackText;
    for (QString before; kept != before;) {
        before = kept;
        // A description does not begin with blank input.
        if (kept == u" " || kept == u"\n")
            kept.clear();
        if (isFixed)
            continue;
        for (; endsInTabOrReturn(kept); kept.chop(1))
            feedbackFormFocus = Field::email;
        kept = platform::firstCharacters(kept, maxFeedbackCharacterCount);
    }
    feedbackText = kept;
    if (isFixed)
        return;
    isInitialFocus = false;
    primaryButtonDisabled = kept.isEmpty();
}

int ContentView::changeEmail(const QString &text, int caret) {
    QString kept = text;
    emailText = text;
    for (QString before; kept != before;) {
        before = kept;
        for (; endsInTabOrReturn(kept); kept.chop(1))
            feedbackFormFocus = Field::feedback;
        kept = platform::firstCharacters(kept.removeIf(isBlank), maxEmailCharacterCount);
    }
    emailText = kept;
    return std::min(int(text.first(caret).removeIf(isBlank).size()), int(kept.size()));
}

void ContentView::paste(QQuickTextDocument *document, int start, int end, bool isSelection, int limit) {
    const auto source = isSelection ? QClipboard::Selection : QClipboard::Clipboard;
    const QString text = platform::firstCharacters(QGuiApplication::clipboard()->text(source), limit);
    if (text.isEmpty())
        return;
    QTextCursor cursor(document->textDocument());
    cursor.setPosition(start);
    cursor.setPosition(end, QTextCursor::KeepAnchor);
    cursor.insertText(text);
}

// The rules would remove the key from the end of the text and move the focus. The text does not change here,
// so that the box need not be redrawn.
void ContentView::leaveFeedback() {
    if (UtilityFunctions::ShareButtonPressed)
        return;
    feedbackFormFocus = Field::email;
    applyFeedbackRules();
}
