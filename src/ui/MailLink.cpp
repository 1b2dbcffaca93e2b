#include "ui/MailLink.h"

#include <QUrl>

namespace {

// None for a text that UTF-8 cannot hold.
std::optional<QByteArray> queryEncoded(const QString &text) {
    if (!text.isValidUtf16())
        return std::nullopt;
    return text.toUtf8().toPercentEncoding("!$&'()*+,-./:;=?@_~");
}

} // namespace

std::optional<QByteArray> mailLink(const QString &email, const QString &logId, const QString &description,
                                   const QString &senderAddress) {
    const auto subject =
        queryEncoded(QStringLiteral("Lumadoc troubleshooting using Brennic Lumadoc Diagnostics."));
    const auto body = queryEncoded(QStringLiteral("Hi Team,\n\nLocal Log ID: ") + logId +
                                   QStringLiteral("\nDescription: ") + description +
                                   QStringLiteral("\nEmail address: ") + senderAddress + u'\n');
    if (!subject || !body)
        return std::nullopt;
    const QByteArray link = "mailto:" + email.toUtf8() + "?subject=" + *subject + "&body=" + *body;
    if (!QUrl::fromEncoded(link, QUrl::StrictMode).isValid())
        return std::nullopt;
    return link;
}
