#include "discovery/DetailedInfo.h"

#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/Account.h"
#include "platform/Network.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QCryptographicHash>
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
    const auto field =
        std::ranges::find_if(fields, [&](const auto &entry) { return text == QLatin1String(entry.first); });
    const auto index = static_cast<CodingKeys>(field - fields.begin());
    return field == fields.end() ? std::nullopt : std::optional(index);
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

namespace UtilityFunctions {

void saveDetailedInfo() {
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

// The empty file comes first, so that the log tells a place where no file can be made from a file that cannot
// be written. A place behind a link in the workspace is one where none can be made.
void CreateFile(const std::optional<std::filesystem::path> &fileURL, const QString &fileContent) {
    if (!fileURL || fileContent.isEmpty())
        return;
    using platform::Replacement;
    std::error_code error;
    if (!Workspace::open(fileURL->parent_path(), error) ||
        !platform::writeFileAtomically(*fileURL, {}, Replacement::privateFile, error)) {
        Logger::logError(QStringLiteral("Failed to create the file."));
        return;
    }
    if (platform::writeFileAtomically(*fileURL, fileContent.toUtf8(), Replacement::privateFile, error))
        Logger::logInfo(QStringLiteral("File created and content written successfully."));
    else
        Logger::logError(QStringLiteral("Error writing to file: ") + platform::description(error));
}

std::optional<QString> getUnitMachineString() {
    const auto addresses = platform::hardwareAddresses();
    if (!addresses)
        return std::nullopt;
    return (addresses->empty() ? QString() : addresses->front()) + u'_' + platform::userName();
}

QString getMachineHash() {
    const auto machine = getUnitMachineString();
    if (!machine)
        platform::fatal("The system gives no list of network interfaces.");
    const QByteArray digest = QCryptographicHash::hash(machine->toUtf8(), QCryptographicHash::Sha512);
    return QString::fromLatin1(digest.toHex());
}

} // namespace UtilityFunctions
