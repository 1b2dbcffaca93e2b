#include "collection/UserDetails.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"

#include <QRegularExpression>
#include <QUrl>

namespace {

QByteArray queryEncoded(const QString &text) {
    return text.toUtf8().toPercentEncoding("!$&'()*+,-./:;=?@_~");
}

} // namespace

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
