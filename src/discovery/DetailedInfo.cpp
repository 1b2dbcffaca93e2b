#include "discovery/DetailedInfo.h"

#include "discovery/MachineIdentity.h"
#include "discovery/RunState.h"
#include "discovery/TextFile.h"
#include "logging/Logging.h"
#include "platform/posix/Text.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<const char *, QString DetailedInfo::*>, 8> fields{{
    {"lumadoc_product", &DetailedInfo::lumadoc_product},
    {"lumadoc_version", &DetailedInfo::lumadoc_version},
    {"lumadoc_versionnumber", &DetailedInfo::lumadoc_versionnumber},
    {"lumadoc_lumadocinstallpath", &DetailedInfo::lumadoc_lumadocinstallpath},
    {"diagnostics_silentapp", &DetailedInfo::diagnostics_silentapp},
    {"diagnostics_machineid", &DetailedInfo::diagnostics_machineid},
    {"diagnostics_version", &DetailedInfo::diagnostics_version},
    {"diagnostics_component", &DetailedInfo::diagnostics_component},
}};

} // namespace

std::optional<DetailedInfo::CodingKeys> DetailedInfo::codingKey(const QString &text) {
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto &entry) { return text == QLatin1String(entry.first); });
    if (field == fields.end())
        return std::nullopt;
    return static_cast<CodingKeys>(field - fields.begin());
}

QByteArray DetailedInfo::encoded() const {
    QJsonObject object;
    for (const auto &[key, member] : fields)
        object.insert(QLatin1String(key), this->*member);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<DetailedInfo> DetailedInfo::decoded(const QByteArray &json) {
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    DetailedInfo info;
    for (const auto &[key, member] : fields) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isString())
            return std::nullopt;
        info.*member = value.toString();
    }
    return info;
}

void UtilityFunctions::saveDetailedInfo() {
    if (!tempOutputURL) {
        Logger::logError(QStringLiteral("tempOutputURL is nil"));
        return;
    }
    const DetailedInfo info{
        .lumadoc_product = lumadocOrPellix.value_or(QString()),
        .lumadoc_version = flavour,
        .lumadoc_versionnumber = LumadocVersion,
        .lumadoc_lumadocinstallpath =
            LumadocInstalledUrlUsed ? platform::displayText(*LumadocInstalledUrlUsed) : QString(),
        .diagnostics_silentapp = IsSilentMode ? QStringLiteral("True") : QStringLiteral("False"),
        .diagnostics_machineid = getMachineHash(),
        .diagnostics_version = LumamonAppVersion,
        .diagnostics_component = CommandLineArguments::componentName.value_or(QString()),
    };
    CreateFile(*tempOutputURL / "DetailedInfo.json", QString::fromUtf8(info.encoded()));
}
