// What tests need that look at what the program logs: lines without their time stamps, so that they can be
// compared whole.
#pragma once

#include "test_support/ScratchHome.h"

#include <QStringList>
#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace test_support {

/// The lines of a log, each with its label and message: "INFO: message", with the home folder's name in the
/// place of its mask. A line that does not have the log's form comes whole, after "MALFORMED: ".
QStringList logLines(const std::filesystem::path &file);

/// Points the log at a fresh file in the scratch home's caches folder, and gives its path.
std::filesystem::path startLog();

/// A test with its own home and its own log.
class LoggedTest : public testing::Test {
protected:
    /// The lines of the log so far, as `logLines` gives them.
    std::vector<std::string> said() const;

    ScratchHome home;
    std::filesystem::path log = startLog();
};

} // namespace test_support
