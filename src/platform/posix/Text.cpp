#include "platform/posix/Text.h"

#include <QList>
#include <QTextBoundaryFinder>
#include <algorithm>
#include <string_view>

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

} // namespace

QString shown(const QString &text) {
    const auto isPrintable = [](QChar character) { return character >= u' ' && character <= u'~'; };
    if (std::ranges::all_of(text, isPrintable))
        return text;
    constexpr std::u32string_view characters = U"\n\r\t";
    constexpr QStringView letters = u"nrt";
    QString result;
    result.reserve(text.size());
    for (const char32_t character : text.toUcs4()) {
        const auto place = characters.find(character);
        if (place != characters.npos)
            result.append(u'\\').append(letters[qsizetype(place)]);
        else if (isHarmful(character))
            result += QStringLiteral("\\u{%1}").arg(QString::number(uint(character), 16).toUpper());
        else
            result += QString::fromUcs4(&character, 1);
    }
    return result;
}

QString escaped(const QString &text) {
    return shown(QString(text).replace(u'\\', QStringLiteral("\\\\")));
}

QString printedText(const QString &text) {
    return u'"' + escaped(text).replace(u'"', QStringLiteral("\\\"")) + u'"';
}

qint64 characterCount(const QString &text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qint64 count = 0;
    while (finder.toNextBoundary() >= 0)
        ++count;
    return count;
}

QString firstCharacters(const QString &text, qint64 limit) {
    if (text.size() <= limit)
        return text;
    const QStringView seen = QStringView(text).left(32 * limit);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, seen);
    qsizetype end = 0;
    for (qint64 count = 0; count < limit; ++count) {
        const qsizetype next = finder.toNextBoundary();
        if (next == seen.size())
            return next == text.size() ? text : text.first(end);
        end = next;
    }
    return text.first(end);
}

} // namespace platform
