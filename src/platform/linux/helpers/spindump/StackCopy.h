// Copies the used part of a thread's stack in one read.
//
// The list of mappings tells where a stack ends. It is read again when a stack pointer is in none of the
// known ones, but not more often than ten times a second: the target waits meanwhile.
#pragma once

#include "Mappings.h"

#include <chrono>
#include <cstddef>

namespace spindump {

class StackCopy {
public:
    /// Both descriptors are borrowed.
    StackCopy(int memoryFile, int mapsFile, std::size_t limitBytes);

    /// What memory holds from `stackPointer` to the end of that stack or the limit; less when it cannot be
    /// read that far.
    std::vector<std::byte> copy(std::uint64_t stackPointer);

private:
    std::size_t used(std::uint64_t stackPointer);
    const Mapping *find(std::uint64_t address) const;

    int m_memory;
    int m_maps;
    std::size_t m_limitBytes;
    std::vector<Mapping> m_mappings;
    std::chrono::steady_clock::time_point m_lastRead;
};

} // namespace spindump
