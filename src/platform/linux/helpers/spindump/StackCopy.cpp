#include "StackCopy.h"

#include <algorithm>
#include <unistd.h>

namespace spindump {

StackCopy::StackCopy(int memoryFile, int mapsFile, std::size_t limitBytes)
    : m_memory(memoryFile)
    , m_maps(mapsFile)
    , m_limitBytes(limitBytes)
    , m_mappings(readMappings(mapsFile))
    , m_lastRead(std::chrono::steady_clock::now()) {}

// The main thread's stack grows downwards after the list was read: below its known begin it is still it.
const Mapping *StackCopy::find(std::uint64_t address) const {
    constexpr std::uint64_t growth = std::uint64_t{8} << 20;
    const auto after = std::upper_bound(m_mappings.begin(), m_mappings.end(), address,
                                        [](std::uint64_t value, const Mapping &m) { return value < m.end; });
    if (after == m_mappings.end())
        return nullptr;
    const bool grown = after->path == "[stack]" && address + growth >= after->begin;
    return address >= after->begin || grown ? &*after : nullptr;
}

std::size_t StackCopy::used(std::uint64_t stackPointer) {
    constexpr std::size_t unknownStack = std::size_t{64} << 10;
    constexpr auto betweenReads = std::chrono::milliseconds(100);
    const auto now = std::chrono::steady_clock::now();
    const Mapping *stack = find(stackPointer);
    if (stack == nullptr && now - m_lastRead > betweenReads) {
        m_mappings = readMappings(m_maps);
        m_lastRead = now;
        stack = find(stackPointer);
    }
    if (stack == nullptr)
        return std::min(unknownStack, m_limitBytes);
    return static_cast<std::size_t>(std::min<std::uint64_t>(stack->end - stackPointer, m_limitBytes));
}

std::vector<std::byte> StackCopy::copy(std::uint64_t stackPointer) {
    std::vector<std::byte> stack(used(stackPointer));
    const ssize_t count = ::pread(m_memory, stack.data(), stack.size(), static_cast<off_t>(stackPointer));
    stack.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return stack;
}

} // namespace spindump
