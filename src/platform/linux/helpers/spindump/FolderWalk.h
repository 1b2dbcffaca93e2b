// Opens a folder step by step, so that no link of a stranger is followed on the way.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <string>
#include <sys/types.h>

namespace spindump {

/// The folder at `path`. Links on the way are followed when root or `user` owns them. Closed, with the reason
/// in `error`, when there is no such folder or a link of somebody else is in the way.
platform::FileDescriptor openFolder(const std::string &path, uid_t user, std::string &error);

} // namespace spindump
