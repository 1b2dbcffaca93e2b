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
#include <set>

namespace spindump {

/// Addresses within the calls, innermost first.
using CallChain = std::vector<std::uint64_t>;

class Stacks {
public:
    /// Borrows the target. Chains are cut at `frameLimit` calls; source lines, which can take long in large
    /// programs, are looked up for `lineTime` at most.
    Stacks(const Target &target, std::size_t frameLimit, std::chrono::steady_clock::duration lineTime);
    ~Stacks();
    Stacks(const Stacks &) = delete;
    Stacks &operator=(const Stacks &) = delete;

    /// The calls in a thread that is stopped by this process, the outermost left out when there are more than
    /// the limit; none when they cannot be read. Looks for new libraries when an address is in none of the
    /// known, once a second at most.
    CallChain read(pid_t thread);

    Symbol symbolAt(std::uint64_t address);
    bool leftOutLines() const { return m_lineTime <= m_lineTime.zero(); }

    /// A line for each program file: address range, build identifier, path.
    QByteArray libraries() const;

private:
    using Clock = std::chrono::steady_clock;

    static int findElf(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr base,
                       char **fileName, Elf **elf);
    static int open(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr, void *argument);
    static pid_t nextThread(Dwfl *, void *self, void **argument);
    static bool getThread(Dwfl *, pid_t, void *self, void **argument);
    static bool readMemory(Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *self);
    static bool setRegisters(Dwfl_Thread *thread, void *);
    static int takeFrame(Dwfl_Frame *frame, void *self);
    void refresh();
    bool isProgramFile(const char *name) const;
    QByteArray lineOf(Dwfl_Module *module, std::uint64_t address);

    const Target &m_target;
    Dwfl *m_dwfl = nullptr;
    std::size_t m_frameLimit;
    CallChain m_chain;
    Clock::duration m_lineTime;
    bool m_isAttached = false;
    Clock::time_point m_lastLook;
    std::set<QByteArray> m_filesWithCode;
};

/// A C++ name as a programmer writes it, escaped; other names, and names made to be endless when written out,
/// as they are.
QByteArray readableName(const char *name);

} // namespace spindump
