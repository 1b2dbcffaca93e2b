#include "Text.h"

#include <QList>
#include <QString>
#include <algorithm>

namespace spindump {

namespace {

// Formats change the direction of writing or are not seen.
bool isHarmless(char32_t character) {
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return character != '\\';
    }
}

} // namespace

QByteArray escaped(const QByteArray &text, qsizetype limitBytes) {
    qsizetype end = std::min(limitBytes, text.size());
    // Not within a character.
    while (end > 0 && end < text.size() && (text[end] & 0xC0) == 0x80)
        --end;
    const QByteArray kept = text.left(end);
    const QString decoded = QString::fromUtf8(kept);
    const bool isUtf8 = decoded.toUtf8() == kept;
    QByteArray result;
    for (const char32_t character : (isUtf8 ? decoded : QString::fromLatin1(kept)).toUcs4()) {
        const QString one = QString::fromUcs4(&character, 1);
        const QByteArray bytes = isUtf8 ? one.toUtf8() : one.toLatin1();
        const bool isText = isHarmless(character) && (isUtf8 || character < 0x80);
        result += isText ? bytes : "\\x" + bytes.toHex(' ').replace(" ", "\\x");
    }
    if (end < text.size())
        result += "… (" + QByteArray::number(text.size() - end) + " bytes more)";
    return result;
}

std::optional<unsigned> decimalNumber(const QByteArray &text, unsigned limit) {
    const unsigned value = text.toUInt();
    // Also where it is no number or too large: the value is then 0.
    return QByteArray::number(value) == text && value <= limit ? std::optional(value) : std::nullopt;
}

} // namespace spindump
