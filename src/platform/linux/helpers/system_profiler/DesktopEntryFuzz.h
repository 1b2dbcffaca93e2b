// What must hold of the reading of desktop entries whatever bytes it gets; in a header, so that a
// coverage-guided fuzzer can ask the same as the bounded test.
#pragma once

#include "platform/linux/helpers/system_profiler/DesktopEntries.h"
#include "platform/linux/helpers/system_profiler/Report.h"

namespace system_profiler {

/// Reads the bytes as an entry and writes them into a report. True when the result is sound: nothing of the
/// entry is larger than the entry, and the report has the lines of one application and no more.
inline bool readsSoundly(const QByteArray &bytes) {
    // Not only text: other callers of the parser pass on whatever a file holds.
    const auto parsed = platform::parseDesktopEntry(bytes);
    if (parsed && parsed->name.size() > bytes.size())
        return false;
    QString problem;
    const auto entry = applicationEntry(bytes, problem);
    if (!entry)
        return true;
    qsizetype commandBytes = 0;
    for (const QByteArray &argument : entry->command)
        commandBytes += argument.size();
    if (!problem.isEmpty() || entry->name.size() > bytes.size() || commandBytes > bytes.size())
        return false;
    Application application;
    application.name = QString::fromUtf8(entry->name);
    application.location = QString::fromUtf8(entry->command.value(0));
    application.maintainer = QString::fromUtf8(entry->command.value(1));
    constexpr qsizetype lineCount = 11;
    return reportOf({application}, {}).count('\n') == lineCount - (application.maintainer.isEmpty() ? 1 : 0);
}

} // namespace system_profiler
