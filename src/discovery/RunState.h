// One run: the values that every part of the program reads, and the workspace that its files are in.
//
// The values have no locks. A run fills them in a fixed order: on the main thread, but in window mode, from
// the start of the diagnostics on, on the worker of `ProcessExecution`, which has one step at a time; the
// main thread reads what a step has set once that step is completed. Later writers are the thread that packs
// (`RemovedFilesCount`, `tempOutputURL`, `compressedLogURL`) and the log (`lumamonLogFileURL`); no other
// thread uses those values in the meantime.
#pragma once

#include "logging/Logging.h"
#include "platform/Bundle.h"

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
/// The run folder, named by the time at which the run began.
inline OptionalURL tempTimeStampedURL;
/// First the run folder; the edition's folder in it once the edition is chosen, which is what the collectors
/// copy into and what is packed; and again the run folder once the archive is there.
inline OptionalURL tempOutputURL;
/// The scratch folder, where the archive is made.
inline OptionalURL temptempURL;
inline OptionalURL userFilesURL;
/// The archive in the run folder.
inline OptionalURL compressedLogURL;

// The product under diagnosis.
inline const QString LumadocBundleIdentifier = platform::productBundleIdentifiers[0];
inline const QString PellixBundleIdentifier = platform::productBundleIdentifiers[1];
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
/// Set by the launch and by the start of a later window's run, unset when the window is gone. Main thread.
inline bool isOutputDirectoryCreated = false;
inline int RemovedFilesCount = 0;
/// Set by the first share of the window, for the life of the process.
inline bool ShareButtonPressed = false;

/// What may go into the archive, each with its leading dot.
inline const QStringList allowedExtensions =
    QStringLiteral(".pml .dmp .zip .log .csv .plist .xml .reg .kwdlogcontrolconfig .txt .bat .lic .tmp .json "
                   ".png .jpeg .jpg .pdf .docx .doc .xlsx .xls .ppt .pptx .ips")
        .split(u' ');

/// The Log ID: a random UUID in lower case, made once per process.
inline const QString UniqueId = QUuid::createUuid().toString(QUuid::WithoutBraces);

/// Begins a run: makes the workspace and moves the log into it. Without a workspace the run goes on all the
/// same, with an error line and the log where it was.
void BeginRun();

/// Computes the run's locations and makes the folders that are missing: one fixed tree below the user's
/// Library folder. False when the user has no Library folder (nothing is changed then) or when a folder
/// cannot be made (logged; the locations stay computed).
bool CreateOutputDirectories();

/// Names the attachments folder inside the output folder. Makes nothing.
void SetUserFilesFolder();

/// The edition under diagnosis, by its identifier: the first one that runs, else the first installed one;
/// empty when none is known.
QString diagnosedIdentifier();

/// An entry of a folder; none without the folder.
OptionalURL below(const OptionalURL &folder, const std::filesystem::path &name);

/// A location that must be known by now; ends the process with `otherwise` when it is not.
const std::filesystem::path &required(const OptionalURL &url, const char *otherwise);

} // namespace UtilityFunctions

namespace CommandLineArguments {

// What the command line names; absent when it does not.
inline std::optional<QString> componentName;
inline std::optional<QString> track;
inline std::optional<QString> product;

} // namespace CommandLineArguments
