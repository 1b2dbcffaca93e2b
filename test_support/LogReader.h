// Reads the program's log in tests: lines without their time stamps, so that they can be compared whole.
#pragma once

#include <QStringList>
#include <filesystem>

namespace test_support {

/// The lines of a log, each with its label and message: "INFO: message". A line that does not have the log's
/// form comes whole, after "MALFORMED: ".
QStringList logLines(const std::filesystem::path &file);

/// Points the log at a fresh file in the scratch home's caches folder, and gives its path.
std::filesystem::path startLog();

} // namespace test_support
