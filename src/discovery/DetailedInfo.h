// What a run says about itself: the run record, which tells the support side which product, version and track
// the collected files belong to and from which machine, and the writer of such small files.
//
// Any one thread at a time.
#pragma once

#include <QByteArray>
#include <QString>
#include <filesystem>
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

/// Writes `fileContent` as UTF-8 to `fileURL`, replacing an existing file; the file is the user's alone. Does
/// nothing without a location or without content. Success and failure are each one line of the log.
void CreateFile(const std::optional<std::filesystem::path> &fileURL, const QString &fileContent);

// A name for the machine and its user that says nothing about either: a one-way hash, computed afresh at
// every call and stable while the first network interface keeps its address.

/// The first hardware address (empty when there is none), "_", and the user's login name; none when the
/// system gives no list of interfaces.
std::optional<QString> getUnitMachineString();

/// SHA-512 (FIPS 180-4) of the machine string's UTF-8 bytes, as 128 lower-case hexadecimal digits. Without a
/// machine string the process ends.
QString getMachineHash();

} // namespace UtilityFunctions
