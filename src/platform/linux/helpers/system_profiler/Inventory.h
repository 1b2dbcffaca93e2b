// The applications of a machine, brought together from entries, bundles, packages and AppStream.
#pragma once

#include "platform/linux/helpers/system_profiler/Application.h"
#include "platform/linux/helpers/system_profiler/NotRead.h"
#include "platform/linux/helpers/system_profiler/Places.h"

namespace system_profiler {

/// Every application that a desktop entry offers and every bundle, each bundle once whatever entries start
/// it. What stands in the way of knowing more is noted.
///
/// An application's version is what its bundle, its sandbox or its package says, and what AppStream says when
/// those are silent. Its package is the one that brought the entry or, for a user's own entry, the program.
std::vector<Application> installedApplications(const Places &places, NotRead &notRead);

} // namespace system_profiler
