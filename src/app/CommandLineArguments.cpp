#include "app/CommandLineArguments.h"

#include "logging/Logging.h"

#include <utility>

namespace CommandLineArguments {

namespace {

QString normalised(const QString &argument) {
    return argument.toLower().trimmed();
}

void parseOne(const QString &argument) {
    if (asksForSilence(argument)) {
        UtilityFunctions::IsSilentMode = true;
        return;
    }
    const QString text = normalised(argument);
    const std::pair<QString, std::optional<QString> &> options[] = {
        {QStringLiteral("/component="), componentName},
        {QStringLiteral("/track="), track},
        {QStringLiteral("/product="), product},
    };
    for (const auto &[prefix, value] : options) {
        if (text.startsWith(prefix)) {
            value = text.mid(prefix.size());
            return;
        }
    }
}

void logValue(const QString &label, const std::optional<QString> &value) {
    Logger::logInfo(label + value.value_or(QStringLiteral("Not provided")));
}

} // namespace

bool asksForSilence(const QString &argument) {
    return normalised(argument) == QStringLiteral("/silent");
}

void parse(const QStringList &arguments) {
    Logger::logInfo(arguments.join(QStringLiteral(", ")));
    for (const QString &argument : arguments)
        parseOne(argument);
    Logger::logInfo(QStringLiteral("Arguments: Silent Mode: ") +
                    (UtilityFunctions::IsSilentMode ? QStringLiteral("Yes") : QStringLiteral("No")));
    logValue(QStringLiteral("Component Name: "), componentName);
    logValue(QStringLiteral("product: "), product);
    logValue(QStringLiteral("Track: "), track);
}

} // namespace CommandLineArguments
