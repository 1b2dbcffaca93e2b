// The rule for e-mail addresses takes time linear in the text, and allows exactly the documented language.
#include "collection/UserDetails.h"
#include "fuzz/Harness.h"

#include <QRegularExpression>

void tryInput(const QByteArray &bytes) {
    // One letter of each kind that the rule knows.
    static const QString letters = QStringLiteral("@aZ3.\u00e9\u0301_-\n +\u200c,.\u24b6");
    QString text;
    for (const char byte : bytes)
        text += letters[static_cast<unsigned char>(byte) % letters.size()];
    const bool isValid = UtilityFunctions::isValidEmail(text);
    // The expression as it is documented, for texts so short that the number of its steps does not matter.
    static const QRegularExpression documented(
        QStringLiteral(R"(\A(?:([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@)"
                       R"((([0-9a-zA-Z][-\p{L}\p{M}\p{Nd}\p{Nl}\p{Pc}\x{200C}\x{200D}\x{24B6}-\x{24E9})"
                       R"(\x{1F130}-\x{1F149}\x{1F150}-\x{1F169}\x{1F170}-\x{1F189}]*[0-9a-zA-Z]*\.)+)"
                       R"([a-zA-Z0-9]{2,17})|)\z)"));
    if (text.size() <= 16)
        require(isValid == documented.match(text).hasMatch(), "the language is the documented one");
    UtilityFunctions::isValidEmail(text.repeated(100));
}
