// The values of one run that every part of the program reads. The main flow fills them in a fixed order at
// the start of a run; they have no locks because only the main flow writes them.
#pragma once

#include "logging/Logging.h"

#include <QString>
#include <QStringList>
#include <QUuid>
#include <filesystem>
#include <optional>
#include <vector>

namespace UtilityFunctions {

using OptionalURL = std::optional<std::filesystem::path>;

// Locations. No value until the workspace is made.
inline OptionalURL userLibraryURL;
inline OptionalURL userLibraryPrefURL;
inline OptionalURL tempDirURL;
inline OptionalURL tempTimeStampedURL;
inline OptionalURL tempOutputURL;
inline OptionalURL temptempURL;
inline OptionalURL userFilesURL;
inline OptionalURL compressedLogURL;

// The product under diagnosis.
inline const QString LumadocBundleIdentifier = QStringLiteral("com.brennic.LumadocPE");
inline const QString PellixBundleIdentifier = QStringLiteral("com.brennic.Pelx");
/// Paid edition first: it always wins.
inline const QStringList LumadocBundleIndentifiers{LumadocBundleIdentifier, PellixBundleIdentifier};
inline QString ProcessId;
inline std::vector<std::filesystem::path> lumadocInstalledUrls;
inline std::vector<std::filesystem::path> pellixInstalledUrls;
inline QStringList LumadocRunningInstance;
inline QStringList LumadocInstalledInstance;
inline std::optional<QString> lumadocOrPellix;
inline QString LumadocVersion;
/// The release track: "Trunk", "Beta" or "QZ".
inline QString flavour = QStringLiteral("Trunk");
inline OptionalURL LumadocInstalledUrlUsed;

// The run.
inline QString LumamonAppVersion;
inline bool IsSilentMode = false;
inline bool isOutputDirectoryCreated = false;
inline int RemovedFilesCount = 0;
/// Set by the first share of the window, for the life of the process.
inline bool ShareButtonPressed = false;

/// What may go into the archive, each with its leading dot.
inline const QStringList allowedExtensions{
    QStringLiteral(".pml"),  QStringLiteral(".dmp"),  QStringLiteral(".zip"),
    QStringLiteral(".log"),  QStringLiteral(".csv"),  QStringLiteral(".plist"),
    QStringLiteral(".xml"),  QStringLiteral(".reg"),  QStringLiteral(".kwdlogcontrolconfig"),
    QStringLiteral(".txt"),  QStringLiteral(".bat"),  QStringLiteral(".lic"),
    QStringLiteral(".tmp"),  QStringLiteral(".json"), QStringLiteral(".png"),
    QStringLiteral(".jpeg"), QStringLiteral(".jpg"),  QStringLiteral(".pdf"),
    QStringLiteral(".docx"), QStringLiteral(".doc"),  QStringLiteral(".xlsx"),
    QStringLiteral(".xls"),  QStringLiteral(".ppt"),  QStringLiteral(".pptx"),
    QStringLiteral(".ips")};

/// The Log ID: a random UUID in lower case, made once per process.
inline const QString UniqueId = QUuid::createUuid().toString(QUuid::WithoutBraces);

} // namespace UtilityFunctions

namespace CommandLineArguments {

// What the command line names; absent when it does not.
inline std::optional<QString> componentName;
inline std::optional<QString> track;
inline std::optional<QString> product;

} // namespace CommandLineArguments
