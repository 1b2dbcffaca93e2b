// A program's claim to be the one that runs.
#pragma once

#include <QString>

namespace platform {

/// Claims `identifier` for this process, until it ends in whatever way. False when another process of this
/// user that this one could see, so none in another container, holds it; false too when the system lets
/// nobody claim it. Of processes that claim it at the same moment one succeeds. Any thread.
bool claimSingleInstance(const QString &identifier);

} // namespace platform
