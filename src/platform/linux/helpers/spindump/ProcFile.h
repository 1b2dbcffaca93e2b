// Reads what the kernel says of a process or thread, with bounds, from the folder that it keeps for it.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace spindump {

/// A value, or why there is none, ready for a report.
template <typename Value>
struct Reading {
    std::optional<Value> value;
    std::string failure;
};

platform::FileDescriptor openIn(int folder, const std::string &name, int flags);

/// Up to `limitBytes` of the file from its start; a descriptor may be read again and again.
Reading<std::string> contentOf(int file, std::size_t limitBytes = 1 << 16);
Reading<std::string> contentIn(int folder, const std::string &name, std::size_t limitBytes = 1 << 16);
Reading<std::string> linkIn(int folder, const std::string &name);

/// The fields of a `stat` file that are used here. Times are since the machine's start or of the processor.
struct ProcStat {
    std::string name;
    char state = '?';
    pid_t parent = 0;
    unsigned long userTicks = 0;
    unsigned long systemTicks = 0;
    unsigned long threads = 0;
    unsigned long startTicks = 0;
    /// 0 when the kernel does not tell.
    unsigned long argumentsBegin = 0;
    unsigned long argumentsEnd = 0;
};
std::optional<ProcStat> parseStat(std::string_view text);

/// The words behind "Name:" in a `status` file, without the blanks around them.
std::optional<std::string> statusField(std::string_view text, std::string_view name);

/// Seconds for a number of the kernel's clock ticks.
std::chrono::duration<double> ticks(unsigned long count);

} // namespace spindump
