// The printed form of a text: on one line, whatever it holds.
#pragma once

#include <QString>

namespace platform {

/// The text in quotation marks, with a backslash before quotation marks and backslashes, and control
/// characters escaped.
inline QString printedText(const QString &text) {
    QString printed(u'"');
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        if (code == u'\\' || code == u'"')
            printed += u'\\' + QString(character);
        else if (code == u'\n')
            printed += QStringLiteral("\\n");
        else if (code == u'\r')
            printed += QStringLiteral("\\r");
        else if (code == u'\t')
            printed += QStringLiteral("\\t");
        else if (character.category() == QChar::Other_Control || code == 0x2028 || code == 0x2029)
            printed += QStringLiteral("\\u{%1}").arg(QString::number(code, 16).toUpper());
        else
            printed += character;
    }
    return printed + u'"';
}

} // namespace platform
