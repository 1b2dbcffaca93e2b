#include "logging/UserNameMask.h"

#include <QRegularExpression>

QString maskedUserNames(const QString &message) {
    static const QRegularExpression homeFolder(QStringLiteral("/(Users|home)/[^/]+/"));
    // Most lines hold no path at all.
    if (!message.contains(u'/') || !homeFolder.isValid())
        return message;
    QString masked = message;
    masked.replace(homeFolder, QStringLiteral("/\\1/[USER]/"));
    return masked;
}
