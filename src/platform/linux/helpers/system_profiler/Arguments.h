// The one command line that the program answers.
#pragma once

#include <string_view>
#include <vector>

namespace system_profiler {

/// What is said to any other command line.
constexpr std::string_view usage = "usage: system_profiler -detailLevel full SPApplicationsDataType";

/// Whether these arguments, without the program's own name, ask for the installed applications.
bool askForApplications(const std::vector<std::string_view> &arguments);

} // namespace system_profiler
