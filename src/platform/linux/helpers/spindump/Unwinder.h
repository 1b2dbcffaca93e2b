// Turns a snapshot into the chain of calls that led there.
//
// Memory is read from the snapshot alone, so a stack can be read long after the thread went on. One thread.
#pragma once

#include "Modules.h"
#include "Snapshot.h"

namespace spindump {

enum class StackEnd { whole, tooDeep, beyondCopy };

struct UnwoundStack {
    /// Addresses within the calls, innermost first.
    std::vector<std::uint64_t> addresses;
    StackEnd end = StackEnd::whole;
};

class Unwinder {
public:
    /// Chains are cut at `frameLimit` calls; snapshots hold at most `stackLimitBytes`. Borrows the modules.
    Unwinder(Modules &modules, std::size_t frameLimit, std::size_t stackLimitBytes);

    UnwoundStack unwind(const Snapshot &snapshot);

private:
    static pid_t nextThread(Dwfl *, void *self, void **argument);
    static bool getThread(Dwfl *, pid_t thread, void *self, void **argument);
    static bool readMemory(Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *self);
    static bool setRegisters(Dwfl_Thread *thread, void *self);
    static int takeFrame(Dwfl_Frame *frame, void *self);
    static const Dwfl_Thread_Callbacks callbacks;

    bool attach();

    Modules &m_modules;
    std::size_t m_frameLimit;
    std::size_t m_stackLimitBytes;
    bool m_attached = false;
    const Snapshot *m_snapshot = nullptr;
    UnwoundStack m_stack;
};

} // namespace spindump
