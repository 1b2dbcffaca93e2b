#include "Unwinder.h"

#include <cstring>

namespace spindump {

const Dwfl_Thread_Callbacks Unwinder::callbacks{
    .next_thread = nextThread,
    .get_thread = getThread,
    .memory_read = readMemory,
    .set_initial_registers = setRegisters,
    .detach = nullptr,
    .thread_detach = nullptr,
};

Unwinder::Unwinder(Modules &modules, std::size_t frameLimit, std::size_t stackLimitBytes)
    : m_modules(modules)
    , m_frameLimit(frameLimit)
    , m_stackLimitBytes(stackLimitBytes) {}

// Needs a module that could be read, to know the processor from it; there may be none yet.
bool Unwinder::attach() {
    constexpr pid_t anyProcess = 1;
    if (!m_attached)
        m_attached = dwfl_attach_state(m_modules.dwfl(), nullptr, anyProcess, &callbacks, this);
    return m_attached;
}

UnwoundStack Unwinder::unwind(const Snapshot &snapshot) {
    m_snapshot = &snapshot;
    m_stack = {};
    m_modules.at(snapshot.programCounter());
    if (attach())
        dwfl_getthread_frames(m_modules.dwfl(), snapshot.thread, takeFrame, this);
    if (m_stack.addresses.empty())
        m_stack.addresses.push_back(snapshot.programCounter());
    m_snapshot = nullptr;
    return std::move(m_stack);
}

pid_t Unwinder::nextThread(Dwfl *, void *self, void **argument) {
    const bool isFirst = *argument == nullptr;
    *argument = self;
    return isFirst ? static_cast<Unwinder *>(self)->m_snapshot->thread : 0;
}

bool Unwinder::getThread(Dwfl *, pid_t, void *self, void **argument) {
    *argument = self;
    return true;
}

bool Unwinder::readMemory(Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *self) {
    auto &unwinder = *static_cast<Unwinder *>(self);
    const auto &stack = unwinder.m_snapshot->stack;
    const std::uint64_t offset = address - unwinder.m_snapshot->stackPointer();
    if (offset <= stack.size() && stack.size() - offset >= sizeof *result) {
        std::memcpy(result, stack.data() + offset, sizeof *result);
        return true;
    }
    if (stack.size() == unwinder.m_stackLimitBytes && offset < std::uint64_t{1} << 32)
        unwinder.m_stack.end = StackEnd::beyondCopy;
    return false;
}

bool Unwinder::setRegisters(Dwfl_Thread *thread, void *self) {
    const Registers &registers = static_cast<Unwinder *>(self)->m_snapshot->registers;
#if defined(__aarch64__)
    dwfl_thread_state_register_pc(thread, registers[programCounterIndex]);
    return dwfl_thread_state_registers(thread, 0, registerCount - 1, registers.data());
#else
    return dwfl_thread_state_registers(thread, 0, registerCount, registers.data());
#endif
}

int Unwinder::takeFrame(Dwfl_Frame *frame, void *self) {
    auto &unwinder = *static_cast<Unwinder *>(self);
    UnwoundStack &stack = unwinder.m_stack;
    Dwarf_Addr counter = 0;
    bool isInterrupted = false;
    if (!dwfl_frame_pc(frame, &counter, &isInterrupted))
        return DWARF_CB_ABORT;
    if (stack.addresses.size() == unwinder.m_frameLimit) {
        stack.end = StackEnd::tooDeep;
        return DWARF_CB_ABORT;
    }
    // A caller's counter stands behind its call, which may be in the next line or function already.
    stack.addresses.push_back(isInterrupted ? counter : counter - 1);
    return DWARF_CB_OK;
}

} // namespace spindump
