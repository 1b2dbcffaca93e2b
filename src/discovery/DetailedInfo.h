// The run record: which product, version and track the collected files belong to, from which machine, made by
// which version of this program.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

/// Eight texts, each under a key equal to its field's name.
struct DetailedInfo {
    QString lumadoc_product;
    /// The release track, for all its name.
    QString lumadoc_version;
    QString lumadoc_versionnumber;
    QString lumadoc_lumadocinstallpath;
    /// "True" or "False", as text.
    QString diagnostics_silentapp;
    QString diagnostics_machineid;
    QString diagnostics_version;
    QString diagnostics_component;

    /// The keys, in the order of the fields. They have a text form and no other.
    enum class CodingKeys {
        lumadoc_product,
        lumadoc_version,
        lumadoc_versionnumber,
        lumadoc_lumadocinstallpath,
        diagnostics_silentapp,
        diagnostics_machineid,
        diagnostics_version,
        diagnostics_component
    };
    static std::optional<CodingKeys> codingKey(const QString &text);

    /// Compact JSON (RFC 8259).
    QByteArray encoded() const;
    /// None when the bytes are no JSON object that has all eight keys with texts.
    static std::optional<DetailedInfo> decoded(const QByteArray &json);

    friend bool operator==(const DetailedInfo &, const DetailedInfo &) = default;
};

namespace UtilityFunctions {

/// Writes the record of this run as "DetailedInfo.json" into the output folder.
void saveDetailedInfo();

} // namespace UtilityFunctions
