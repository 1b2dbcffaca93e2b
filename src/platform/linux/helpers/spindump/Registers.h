// Reads a stopped thread's registers.
#pragma once

#include "Snapshot.h"

namespace spindump {

/// False when they cannot be read, or when the thread runs code for another kind of processor, as a 32-bit
/// program does.
bool readRegisters(pid_t thread, Registers &registers);

} // namespace spindump
