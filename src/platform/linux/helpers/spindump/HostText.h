// The machine and its times, as the report shows them.
#pragma once

#include "ProcFile.h"

namespace spindump {

/// The lines of the report's header for system, kernel and processors.
std::string hostText();

/// Date, time and zone.
std::string dateText(std::chrono::system_clock::time_point date);

/// When the process was started, and how long before `now`.
std::string startText(const ProcStat &stat, std::chrono::system_clock::time_point now);

} // namespace spindump
