// The applications of this machine and user, from desktop entries, bundles and package managers.
#pragma once

#include "platform/linux/helpers/system_profiler/Report.h"

namespace system_profiler {

/// Every application that a desktop entry offers, and every bundle once. An application's version is what its
/// bundle or its package manager says; its package owns the entry or, for a user's own entry, the program.
std::vector<Application> applicationsOfThisMachine(Reader &reader);

} // namespace system_profiler
