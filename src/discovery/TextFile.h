// The writer of the small text files that go into the output beside what is collected.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>

namespace UtilityFunctions {

/// Writes `fileContent` as UTF-8 to `fileURL`, replacing what stands there; the file is the user's alone.
/// Does nothing without a location or without content. Success and failure are each one line of the log.
void CreateFile(const std::optional<std::filesystem::path> &fileURL, const QString &fileContent);

} // namespace UtilityFunctions
