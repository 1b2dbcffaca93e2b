// The fixed values of the program, by the namespace that each belongs to.
#pragma once

#include "logging/Logging.h"

#include <QString>

namespace Constants {

/// Width of the attach-file button, in points.
inline constexpr double AttachFileButtonWidth = 96.0;

} // namespace Constants

namespace ConstantsFolder {

/// The product's own log folder below the user's Library folder, by track and edition.
inline const QString LumalogPath = QStringLiteral("Application Support/Brennic/Lumadoc/%1/%2/LumaLog");

} // namespace ConstantsFolder

namespace LabelConstants {

inline const QString ApplicationDisplayName = QStringLiteral("Brennic Lumadoc Diagnostics");

inline const QString MultipleLumadocRunningDesc =
    QStringLiteral("Please ensure that only one Lumadoc app which needs troubleshooting is open, before "
                   "running Brennic Lumadoc Diagnostics.");

} // namespace LabelConstants

namespace LogConstants {

inline const QString LumamonLogNotFound = QStringLiteral("Unable to find copy LumadocDiagnostics log file. ");

} // namespace LogConstants
