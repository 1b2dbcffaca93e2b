// One thread at one moment: its registers and a copy of the used part of its stack.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace spindump {

/// In the order in which debug information numbers them, the program counter last.
#if defined(__x86_64__)
inline constexpr std::size_t registerCount = 17;
inline constexpr std::size_t stackPointerIndex = 7;
#elif defined(__aarch64__)
inline constexpr std::size_t registerCount = 33;
inline constexpr std::size_t stackPointerIndex = 31;
#else
#error "Snapshot.h and Registers.cpp know the registers of x86-64 and AArch64 only."
#endif
inline constexpr std::size_t programCounterIndex = registerCount - 1;

using Registers = std::array<std::uint64_t, registerCount>;

struct Snapshot {
    pid_t thread = 0;
    /// How many samples it stands for.
    std::uint32_t weight = 0;
    Registers registers{};
    /// What memory held from the stack pointer on.
    std::vector<std::byte> stack;

    std::uint64_t stackPointer() const { return registers[stackPointerIndex]; }
    std::uint64_t programCounter() const { return registers[programCounterIndex]; }
};

} // namespace spindump
