#include "logging/UserNameMask.h"

namespace {

// The length of the "/Users/" or "/home/" that the text begins with; none when it begins with neither.
qsizetype homesLength(QStringView text) {
    for (const QStringView homes : {QStringView(u"/Users/"), QStringView(u"/home/")}) {
        if (text.startsWith(homes))
            return homes.size();
    }
    return 0;
}

} // namespace

// Not a regular expression, which would refuse a text with half a surrogate pair, and so let the names in it
// pass.
QString maskedUserNames(const QString &message) {
    QString masked;
    qsizetype copied = 0;
    qsizetype slash = message.indexOf(u'/');
    while (slash >= 0) {
        const qsizetype length = homesLength(QStringView(message).sliced(slash));
        const qsizetype name = slash + length;
        const qsizetype end = length > 0 ? message.indexOf(u'/', name) : slash;
        if (end < 0)
            break;
        if (end > name) {
            masked += QStringView(message).sliced(copied, name - copied);
            masked += QStringLiteral("[USER]");
            copied = end;
            slash = end;
        }
        slash = message.indexOf(u'/', slash + 1);
    }
    masked += QStringView(message).sliced(copied);
    return masked;
}
