#include "archives/SendHistory.h"

#include <gtest/gtest.h>

namespace {

using archives::SendHistory;

// With the label and the time that the log's lines have.
QByteArray logOf(const std::vector<std::string> &lines) {
    QByteArray log = "the rest of a line that was cut\n";
    for (const std::string &line : lines) {
        const std::size_t label = line.starts_with('-') ? 0 : line.find(' ') + 1;
        log += QByteArray::fromStdString(line.substr(0, label) +
                                         "2026-11-22 10:00:00 +0000: " + line.substr(label) + '\n');
    }
    return log;
}

const std::string start = "----------------------------Application Started----------------------------";
const std::string packed = "INFO: Compressed File: a.zip";

} // namespace

TEST(SendHistoryTest, SaysWhyTheLastUploadOfAnArchiveFailed) {
    const std::string other = "ERROR: Other network error: ";
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{start}, ""},
        {{start, packed}, "The run ended before the archive was sent."},
        {{packed, other + "No route."}, "No route."},
        {{packed, "INFO: Status Code: 500", other + "Internal Server Error."},
         "Internal Server Error. (status 500)"},
        {{packed, "ERROR: No internet connection"}, "This computer is not connected to the internet."},
        {{packed, other + "No route.", "ERROR: Upload task was canceled"}, "The upload was stopped."},
        {{packed, "ERROR: Logs Size is large."},
         "The archive is too large: the service takes less than 100 MiB."},
        // Of another run, of another archive, and what only looks like a failure.
        {{packed, start, other + "No route."}, "The run ended before the archive was sent."},
        {{packed, "INFO: Compressed File: b.zip", other + "No route."},
         "The run ended before the archive was sent."},
        {{packed, "INFO: Other network error: No route."}, "The run ended before the archive was sent."},
        {{packed, start,
          "ERROR: " +
              SendHistory::failureLine(QStringLiteral("a.zip"), QStringLiteral("b: c.")).toStdString()},
         "b: c."},
    };
    for (const auto &[lines, reason] : cases)
        EXPECT_EQ(SendHistory(logOf(lines)).reasonFor(QStringLiteral("a.zip")).toStdString(), reason)
            << lines.back();
}
