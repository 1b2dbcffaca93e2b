// The printed form of a list of texts.
#pragma once

#include "platform/posix/Text.h"

#include <QStringList>

/// `["one", "two"]`, each text as `printedText` gives it.
inline QString printedList(const QStringList &texts) {
    QStringList quoted;
    for (const QString &text : texts)
        quoted.append(platform::printedText(text));
    return u'[' + quoted.join(QStringLiteral(", ")) + u']';
}
