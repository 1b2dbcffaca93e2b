// Who asks, and giving up every right that this user does not have.
//
// To be called by the only thread of the process.
#pragma once

#include <sys/types.h>

namespace spindump {

struct AskingUser {
    uid_t user = 0;
    gid_t group = 0;
    /// Whether this process has rights that the user has not.
    bool elevated = false;
};

/// The user whom pkexec names when this process was started as root by it, else the real user of this
/// process. Throws Failure when pkexec names nobody that this system knows.
AskingUser askingUser();

/// For good: no new rights through any program. When elevated: the identity of the asking user, no further
/// groups, no capability. Throws Failure when any of it fails or does not last.
void dropPrivileges(const AskingUser &asking);

} // namespace spindump
