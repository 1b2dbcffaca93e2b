// The fixture of tests that look at what the program logs.
#pragma once

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace test_support {

/// A test with its own home and its own log.
class LoggedTest : public testing::Test {
protected:
    /// The lines of the log so far, as `logLines` gives them.
    std::vector<std::string> said() const {
        std::vector<std::string> lines;
        for (const QString &line : logLines(log))
            lines.push_back(line.toStdString());
        return lines;
    }

    ScratchHome home;
    std::filesystem::path log = startLog();
};

} // namespace test_support
