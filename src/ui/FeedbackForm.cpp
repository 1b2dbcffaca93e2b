// The rules of the two text boxes, each applied to a box's text after every change of it, including the
// rules' own; the record; the mail.
#include "ui/FeedbackForm.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "ui/ContentView.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>
#include <QUrl>

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

QByteArray queryEncoded(const QString &text) {
    return text.toUtf8().toPercentEncoding("!$&'()*+,-./:;=?@_~");
}

} // namespace

void ContentView::changeText(QProperty<QString> &box, const QString &text,
                             void (ContentView::*applyRules)()) {
    QString before = box;
    box = text;
    while (box.value() != before) {
        before = box;
        (this->*applyRules)();
    }
}

qint64 ContentView::characterCount(const QString &text) const {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qint64 count = 0;
    while (finder.toNextBoundary() >= 0)
        ++count;
    return count;
}

void ContentView::changeFeedback(const QString &text) {
    changeText(feedbackText, text, &ContentView::applyFeedbackRules);
}

void ContentView::applyFeedbackRules() {
    // A description does not begin with blank input.
    if (feedbackText.value() == u" " || feedbackText.value() == u"\n")
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
}

void ContentView::changeEmail(const QString &text) {
    changeText(emailText, text, &ContentView::applyEmailRules);
}

void ContentView::applyEmailRules() {
    QString text = emailText;
    if (text.endsWith(u'\n')) {
        text.chop(1);
    } else if (endsInTabOrReturn(text)) {
        text.chop(1);
        feedbackFormFocus = Field::feedback;
    }
    text.remove(u' ');
    emailText = firstCharacters(text, maxEmailCharacterCount);
}

// The rules would remove the key from the end of the text and move the focus. The text does not change here,
// so that the box need not be redrawn.
void ContentView::leaveFeedback() {
    if (UtilityFunctions::ShareButtonPressed)
        return;
    feedbackFormFocus = Field::email;
    applyFeedbackRules();
}

void ContentView::leaveEmail() {
    feedbackFormFocus = Field::feedback;
}

bool UtilityFunctions::isValidEmail(const QString &email) {
    // The same language as the expression in the header, without its ambiguity: each text matches in one way
    // at most, and no quantifier gives anything back. What ICU counts as \w is spelled out: letters, marks,
    // digits, connectors, joiners, and the circled, squared and negative Latin letters.
    static const QRegularExpression rule(QRegularExpression::anchoredPattern(
        QStringLiteral(R"([0-9a-zA-Z]++(?:[-+_.][0-9a-zA-Z]++)*+@)"
                       R"((?:[0-9a-zA-Z][-\p{L}\p{M}\p{Nd}\p{Nl}\p{Pc}\x{200C}\x{200D})"
                       R"(\x{24B6}-\x{24E9}\x{1F130}-\x{1F149}\x{1F150}-\x{1F169}\x{1F170}-\x{1F189}]*+\.)++)"
                       R"([0-9a-zA-Z]{2,17})")));
    return email.isEmpty() || rule.match(email).hasMatch();
}

void UtilityFunctions::CreateUserDetailContent(const QString &email, const QString &feedback) {
    if (!tempOutputURL)
        return;
    const QString address = isValidEmail(email) ? email : QString();
    CreateFile(*tempOutputURL / "UserEmailFeedback.json",
               QStringLiteral("{\"machineid\":\"") + getMachineHash() + QStringLiteral("\",\"email\":\"") +
                   address + QStringLiteral("\",\"problemdesc\":\"") + feedback + QStringLiteral("\"}"));
}

std::optional<QByteArray> mailLink(const QString &email, const QString &logId, const QString &description,
                                   const QString &senderAddress) {
    const QString subject = QStringLiteral("Lumadoc troubleshooting using Brennic Lumadoc Diagnostics.");
    const QString body = QStringLiteral("Hi Team,\n\nLocal Log ID: ") + logId +
                         QStringLiteral("\nDescription: ") + description +
                         QStringLiteral("\nEmail address: ") + senderAddress + u'\n';
    const QByteArray link =
        "mailto:" + email.toUtf8() + "?subject=" + queryEncoded(subject) + "&body=" + queryEncoded(body);
    if (!body.isValidUtf16() || !QUrl::fromEncoded(link, QUrl::StrictMode).isValid())
        return std::nullopt;
    return link;
}
