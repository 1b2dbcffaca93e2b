// The printed form of a list of texts.
#pragma once

#include <QStringList>

/// `["one", "two"]`, with a backslash before quotation marks and backslashes and control characters escaped.
inline QString printedList(const QStringList &texts) {
    QStringList quoted;
    for (QString text : texts) {
        text.replace(u'\\', QStringLiteral("\\\\"));
        text.replace(u'"', QStringLiteral("\\\""));
        text.replace(u'\n', QStringLiteral("\\n"));
        text.replace(u'\r', QStringLiteral("\\r"));
        text.replace(u'\t', QStringLiteral("\\t"));
        quoted.append(u'"' + text + u'"');
    }
    return u'[' + quoted.join(QStringLiteral(", ")) + u']';
}
