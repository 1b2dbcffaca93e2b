// The stacks of a process: the chains of calls in its stopped threads, and what the addresses in them are
// called.
//
// What the target can shape (program files, debug information, stacks) is read here, by elfutils' libdwfl,
// with no more rights than the asking user's. Files are opened below the target's root folder; debug
// information is looked for on this machine alone, by build identifier. For the thread that traces the
// process.
#pragma once

#include "CallTree.h"
#include "Target.h"

#include <chrono>
#include <elfutils/libdwfl.h>

namespace spindump {

/// Addresses within the calls, innermost first.
using CallChain = std::vector<std::uint64_t>;

class Stacks {
public:
    using Clock = std::chrono::steady_clock;

    /// Borrows the target. Chains are cut at `frameLimit` calls.
    Stacks(const Target &target, std::size_t frameLimit);
    ~Stacks();
    Stacks(const Stacks &) = delete;
    Stacks &operator=(const Stacks &) = delete;

    /// Gives time for reading stacks, half of what has passed since the last call, and no more than `most` to
    /// spend at once: threads are stopped meanwhile.
    void giveTime(Clock::duration most);
    /// The calls in a thread that is stopped by this process; none when they cannot be read. Calls beyond the
    /// limit or the time are left out, the outermost first, which the chain's last entry says.
    CallChain read(pid_t thread);
    /// Whether the chain ends in a library that came since the last look at them.
    bool endsInNoLibrary(const CallChain &chain) const;
    /// Looks for new libraries. This can take long: no thread should be stopped.
    void refresh();

    Symbol symbolAt(std::uint64_t address);

    /// A line for each file that is mapped: address range, build identifier, path.
    QByteArray libraries() const;

private:
    static int findElf(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr base,
                       char **fileName, Elf **elf);
    static int open(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr, void *argument);
    static bool setRegisters(Dwfl_Thread *thread, void *);
    static int takeFrame(Dwfl_Frame *frame, void *self);
    void attach();

    const Target &m_target;
    Dwfl *m_dwfl = nullptr;
    std::size_t m_frameLimit;
    CallChain m_chain;
    Clock::duration m_timeLeft{};
    Clock::time_point m_timeGiven;
    Clock::time_point m_readUntil;
    bool m_isAttached = false;
};

/// A C++ name as a programmer writes it, escaped; other names, and names made to be endless when written out,
/// as they are.
QByteArray readableName(const char *name);

} // namespace spindump
