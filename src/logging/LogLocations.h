// Where the diagnostic log goes in the workspace: the part of the run's locations that the log itself uses.
#pragma once

#include <filesystem>
#include <optional>

namespace ConstantsFolder {

inline constexpr char DebugOutputLogFile[] = "LumadocDiagnosticsDebugOutput.log";

} // namespace ConstantsFolder

namespace UtilityFunctions {

/// The workspace's system folder; set when the workspace is made.
inline std::optional<std::filesystem::path> tempSystemURL;

/// The log after its move into that folder; set by the log.
inline std::optional<std::filesystem::path> lumamonLogFileURL;

} // namespace UtilityFunctions
