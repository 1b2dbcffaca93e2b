#include "platform/posix/Text.h"

#include <QList>

namespace platform {

namespace {

// What acts on a terminal or on the lines around it: control and format characters and line separators. The
// two joiners are part of how words are written.
bool isHarmful(char32_t character) {
    constexpr char32_t nonJoiner = 0x200C;
    constexpr char32_t joiner = 0x200D;
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    case QChar::Other_Format:
        return character != nonJoiner && character != joiner;
    default:
        return false;
    }
}

QString escapedCharacter(char32_t character) {
    switch (character) {
    case U'\\':
        return QStringLiteral("\\\\");
    case U'\n':
        return QStringLiteral("\\n");
    case U'\r':
        return QStringLiteral("\\r");
    case U'\t':
        return QStringLiteral("\\t");
    default:
        break;
    }
    if (isHarmful(character))
        return QStringLiteral("\\u{%1}").arg(QString::number(static_cast<uint>(character), 16).toUpper());
    return QString::fromUcs4(&character, 1);
}

} // namespace

QString escaped(const QString &text) {
    QString result;
    result.reserve(text.size());
    for (const char32_t character : text.toUcs4())
        result += escapedCharacter(character);
    return result;
}

QString printedText(const QString &text) {
    return u'"' + escaped(text).replace(u'"', QStringLiteral("\\\"")) + u'"';
}

} // namespace platform
