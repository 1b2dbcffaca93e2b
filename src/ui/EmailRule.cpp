#include "ui/EmailRule.h"

#include <QChar>
#include <QList>
#include <algorithm>

namespace {

bool isAlphanumeric(QChar character) {
    const char16_t code = character.unicode();
    return (code >= u'0' && code <= u'9') || (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z');
}

bool isSeparator(QChar character) {
    return character == u'+' || character == u'-' || character == u'_' || character == u'.';
}

// Symbols that count as alphabetic: circled, squared and negative Latin letters.
bool isLetterSymbol(char32_t code) {
    return (code >= 0x24B6 && code <= 0x24E9) || (code >= 0x1F130 && code <= 0x1F149) ||
           (code >= 0x1F150 && code <= 0x1F169) || (code >= 0x1F170 && code <= 0x1F189);
}

bool isWordCharacter(char32_t code) {
    switch (QChar::category(code)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
    case QChar::Number_DecimalDigit:
    case QChar::Number_Letter:
    case QChar::Letter_Uppercase:
    case QChar::Letter_Lowercase:
    case QChar::Letter_Titlecase:
    case QChar::Letter_Modifier:
    case QChar::Letter_Other:
    case QChar::Punctuation_Connector:
        return true;
    default:
        constexpr char32_t nonJoiner = 0x200C;
        constexpr char32_t joiner = 0x200D;
        return code == nonJoiner || code == joiner || isLetterSymbol(code);
    }
}

// Letters and digits, single separators between them.
bool isLocalPart(QStringView text) {
    bool mayEnd = false;
    for (const QChar character : text) {
        if (!isAlphanumeric(character) && !(mayEnd && isSeparator(character)))
            return false;
        mayEnd = isAlphanumeric(character);
    }
    return mayEnd;
}

// A piece of the domain that a dot follows.
bool isDomainLabel(QStringView text) {
    if (text.isEmpty() || !isAlphanumeric(text.front()))
        return false;
    for (const char32_t code : text.toUcs4()) {
        if (code != U'-' && !isWordCharacter(code))
            return false;
    }
    return true;
}

bool isTopLevel(QStringView text) {
    if (text.size() < 2 || text.size() > 17)
        return false;
    return std::all_of(text.begin(), text.end(), isAlphanumeric);
}

} // namespace

bool UtilityFunctions::isValidEmail(const QString &email) {
    if (email.isEmpty())
        return true;
    const qsizetype at = email.indexOf(u'@');
    if (at < 0 || !isLocalPart(QStringView(email).first(at)))
        return false;
    QStringView rest = QStringView(email).sliced(at + 1);
    qsizetype labels = 0;
    for (qsizetype dot = rest.indexOf(u'.'); dot >= 0; dot = rest.indexOf(u'.')) {
        if (!isDomainLabel(rest.first(dot)))
            return false;
        rest = rest.sliced(dot + 1);
        ++labels;
    }
    return labels > 0 && isTopLevel(rest);
}
