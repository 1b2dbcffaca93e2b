// The text of the report.
//
// The same applications give the same bytes, whatever order they come in, and whatever language and time zone
// the machine is set to: times are in UTC, so that reports of two machines can be laid side by side.
#pragma once

#include "platform/linux/helpers/system_profiler/Application.h"
#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <QByteArray>

namespace system_profiler {

/// A text as it stands in the report: on one line, of bounded length, with what would not show or would alter
/// the order of the line written as its number, `\u{A}`.
QString lineOf(const QString &text);

/// The report in UTF-8: a block for each application, by name without regard to case and then by location;
/// then, if there is any, what was not read.
QByteArray reportOf(std::vector<Application> applications, const NotRead &notRead);

} // namespace system_profiler
