// The record of what the user says about the problem.
#pragma once

#include <QString>

namespace UtilityFunctions {

/// Writes "UserEmailFeedback.json" into the output folder; nothing without one. The texts go in as they are,
/// without any escaping, as the support service expects them; an address that is none is left out. Main
/// thread.
void CreateUserDetailContent(const QString &email, const QString &feedback);

} // namespace UtilityFunctions
