// Which application a program belongs to.
#pragma once

#include <string>

namespace spindump {

/// The lines of the report's header for identifier and version of the bundle around `executable`.
std::string bundleText(const std::string &executable);

} // namespace spindump
