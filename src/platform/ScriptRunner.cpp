#include "platform/ScriptRunner.h"

#include "platform/PrintedText.h"

namespace platform {

QString ScriptError::printedDescription() const {
    return QStringLiteral("[\"NSAppleScriptErrorMessage\": ") + printedText(message) +
           QStringLiteral(", \"NSAppleScriptErrorNumber\": ") + QString::number(number) + u']';
}

} // namespace platform
