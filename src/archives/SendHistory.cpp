#include "archives/SendHistory.h"

#include <QRegularExpression>
#include <optional>

namespace archives {

namespace {

const QString notSent = QStringLiteral("Archive not sent: ");

std::optional<QString> after(const QString &prefix, const QString &message) {
    return message.startsWith(prefix) ? std::optional(message.mid(prefix.size())) : std::nullopt;
}

} // namespace

SendHistory::SendHistory(const QByteArray &log) {
    static const QRegularExpression line(
        QStringLiteral("^(?:(INFO|WARNING|ERROR): )?[-0-9]{10} [:0-9]{8} \\+0000: (.*)$"));
    for (const QByteArray &bytes : log.split('\n')) {
        const auto match = line.match(QString::fromUtf8(bytes));
        if (match.hasMatch())
            read(match.captured(1) == u"ERROR", match.captured(2));
    }
}

QString SendHistory::failureLine(const QString &archiveName, const QString &reason) {
    return notSent + archiveName + QStringLiteral(": ") + reason;
}

void SendHistory::read(bool isError, const QString &message) {
    if (message.contains(QStringLiteral("---Application Started---"))) {
        m_current.clear();
    } else if (const auto name = after(QStringLiteral("Compressed File: "), message)) {
        m_current = *name;
        m_status.clear();
        m_reasons[m_current] = QStringLiteral("The run ended before the archive was sent.");
    } else if (const auto status = after(QStringLiteral("Status Code: "), message)) {
        m_status = QStringLiteral(" (status %1)").arg(*status);
    } else if (const auto line = after(notSent, message); line && isError) {
        m_reasons[line->section(QStringLiteral(": "), 0, 0)] = line->section(QStringLiteral(": "), 1);
    } else if (!isError || m_current.isEmpty()) {
        return;
    } else if (const auto reason = after(QStringLiteral("Other network error: "), message)) {
        m_reasons[m_current] = *reason + std::exchange(m_status, QString());
    } else if (message == u"No internet connection") {
        m_reasons[m_current] = QStringLiteral("This computer is not connected to the internet.");
    } else if (message == u"Upload task was canceled") {
        m_reasons[m_current] = QStringLiteral("The upload was stopped.");
    } else if (message == u"Logs Size is large.") {
        m_reasons[m_current] =
            QStringLiteral("The archive is too large: the service takes less than 100 MiB.");
    }
}

} // namespace archives
