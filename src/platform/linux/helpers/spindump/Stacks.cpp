#include "Stacks.h"

#include "Text.h"

#include <QRegularExpression>
#include <QString>
#include <algorithm>
#include <array>
#include <cstring>
#include <cxxabi.h>
#include <elf.h>
#include <memory>
#include <new>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <unistd.h>

namespace spindump {

namespace {

// The outermost entry of a chain that was cut.
constexpr std::uint64_t outerCallsLeftOut = 0;

QByteArray hexadecimal(std::uint64_t value, int digits = 0) {
    return "0x" + QByteArray::number(value, 16).rightJustified(digits, '0');
}

QByteArray fileNameOf(const char *path) {
    const QByteArray bounded(path, static_cast<qsizetype>(::strnlen(path, 4096)));
    return escaped(bounded.mid(bounded.lastIndexOf('/') + 1), 256);
}

QByteArray lineOf(Dwfl_Module *module, std::uint64_t address) {
    Dwfl_Line *line = dwfl_module_getsrc(module, address);
    int number = 0;
    const char *path =
        line == nullptr ? nullptr : dwfl_lineinfo(line, nullptr, &number, nullptr, nullptr, nullptr);
    return path == nullptr || number <= 0 ? QByteArray()
                                          : fileNameOf(path) + ':' + QByteArray::number(number);
}

// Each reference in a name to an earlier part of it can at most double what is written out.
bool isBounded(const QByteArray &name) {
    static const QRegularExpression reference(QStringLiteral("[ST][0-9A-Z_]"));
    return name.size() <= 1024 && QString::fromLatin1(name).count(reference) <= 40;
}

} // namespace

QByteArray readableName(const char *name) {
    constexpr qsizetype limitBytes = 512;
    QByteArray plain(name, static_cast<qsizetype>(::strnlen(name, 64 * limitBytes)));
    // After it comes the version of the library that the name came with.
    plain = plain.mid(0, plain.indexOf('@'));
    if (!plain.startsWith("_Z") || !isBounded(plain))
        return escaped(plain, limitBytes);
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> written(
        abi::__cxa_demangle(plain.constData(), nullptr, nullptr, &status), std::free);
    return escaped(status == 0 && written ? QByteArray(written.get()) : plain, limitBytes);
}

// Below the target's root folder, which need not be ours. The library takes none but plain files, and for a
// removed one the memory of the process, once it is attached to that.
int Stacks::findElf(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr base, char **fileName,
                    Elf **elf) {
    const auto *self = static_cast<const Stacks *>(*userData);
    std::string path = name;
    const bool isRemoved = path.ends_with(" (deleted)");
    if (self == nullptr || (isRemoved && !self->m_isAttached))
        return -1;
    if (path.starts_with('/') && !isRemoved)
        path.insert(0, "/proc/self/fd/" + std::to_string(self->m_target.root.get()));
    return dwfl_linux_proc_find_elf(module, userData, path.c_str(), base, fileName, elf);
}

Stacks::Stacks(const Target &target, std::size_t frameLimit)
    : m_target(target)
    , m_frameLimit(frameLimit) {
    // By its usual search for debug information the library would ask servers too.
    static constexpr Dwfl_Callbacks callbacks{
        .find_elf = findElf,
        .find_debuginfo = dwfl_build_id_find_debuginfo,
        .section_address = dwfl_offline_section_address,
        .debuginfo_path = nullptr,
    };
    m_dwfl = dwfl_begin(&callbacks);
    if (m_dwfl == nullptr)
        throw std::bad_alloc();
    refresh();
}

Stacks::~Stacks() {
    dwfl_end(m_dwfl);
}

// Everything is opened here, so that no thread has to stay stopped for it.
void Stacks::refresh() {
    constexpr std::size_t limitBytes = std::size_t{16} << 20;
    const QByteArray mappings = contentOf(m_target.mappings.get(), limitBytes);
    dwfl_report_begin_add(m_dwfl);
    // The list may only be readable with the rights that it was opened with; only the kernel's page of code
    // is missing then.
    if (dwfl_linux_proc_report(m_dwfl, m_target.processId) != 0 && !mappings.isEmpty()) {
        FILE *list = ::fmemopen(const_cast<char *>(mappings.constData()),
                                static_cast<std::size_t>(mappings.size()), "r");
        dwfl_linux_proc_maps_report(m_dwfl, list);
        std::fclose(list);
    }
    dwfl_report_end(m_dwfl, nullptr, nullptr);
    dwfl_getmodules(m_dwfl, open, this, 0);
    if (!m_isAttached) {
        attach();
        dwfl_getmodules(m_dwfl, open, this, 0);
    }
}

// Not by `dwfl_linux_proc_attach`: that would end this process by an assertion when a thread dies while its
// stack is read. Only one thread at a time is asked for, by its id.
void Stacks::attach() {
    static constexpr Dwfl_Thread_Callbacks callbacks{
        .next_thread = [](Dwfl *, void *, void **) { return pid_t{0}; },
        .get_thread =
            [](Dwfl *, pid_t, void *self, void **argument) {
                *argument = self;
                return true;
            },
        .memory_read =
            [](Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *self) {
                const int memory = static_cast<Stacks *>(self)->m_target.memory.get();
                return ::pread(memory, result, sizeof *result, static_cast<off_t>(address)) == sizeof *result;
            },
        .set_initial_registers = setRegisters,
        .detach = nullptr,
        .thread_detach = nullptr,
    };
    m_isAttached = dwfl_attach_state(m_dwfl, nullptr, m_target.processId, &callbacks, this);
}

int Stacks::open(Dwfl_Module *module, void **userData, const char *, Dwarf_Addr, void *argument) {
    auto *self = static_cast<Stacks *>(argument);
    *userData = self;
    Dwarf_Addr bias = 0;
    if (self->m_isAttached) {
        dwfl_module_eh_cfi(module, &bias);
        dwfl_module_dwarf_cfi(module, &bias);
    }
    return DWARF_CB_OK;
}

// False also when the thread runs code for another kind of processor, as a 32-bit program does.
bool Stacks::setRegisters(Dwfl_Thread *thread, void *) {
    struct user_regs_struct read {};
    struct iovec part {
        &read, sizeof read
    };
    if (::ptrace(PTRACE_GETREGSET, dwfl_thread_tid(thread), NT_PRSTATUS, &part) != 0 ||
        part.iov_len != sizeof read)
        return false;
        // In the order in which debug information numbers them.
#if defined(__x86_64__)
    const std::array<Dwarf_Word, 17> registers{read.rax, read.rdx, read.rcx, read.rbx, read.rsi, read.rdi,
                                               read.rbp, read.rsp, read.r8,  read.r9,  read.r10, read.r11,
                                               read.r12, read.r13, read.r14, read.r15, read.rip};
#elif defined(__aarch64__)
    std::array<Dwarf_Word, 32> registers{};
    std::copy(std::begin(read.regs), std::end(read.regs), registers.begin());
    registers.back() = read.sp;
    dwfl_thread_state_register_pc(thread, read.pc);
#else
#error "The registers of x86-64 and AArch64 are known only."
#endif
    return dwfl_thread_state_registers(thread, 0, registers.size(), registers.data());
}

int Stacks::takeFrame(Dwfl_Frame *frame, void *argument) {
    auto *self = static_cast<Stacks *>(argument);
    Dwarf_Addr counter = 0;
    bool isInterrupted = false;
    if (!dwfl_frame_pc(frame, &counter, &isInterrupted))
        return DWARF_CB_ABORT;
    // A caller's counter is after its call, which may be in the next line or function already.
    self->m_chain.push_back(isInterrupted ? counter : counter - 1);
    if (self->m_chain.size() < self->m_frameLimit && Clock::now() < self->m_readUntil)
        return DWARF_CB_OK;
    self->m_chain.push_back(outerCallsLeftOut);
    return DWARF_CB_ABORT;
}

void Stacks::giveTime(Clock::duration most) {
    const auto now = Clock::now();
    m_timeLeft = std::min(most, m_timeLeft + (now - m_timeGiven) / 2);
    m_timeGiven = now;
}

CallChain Stacks::read(pid_t thread) {
    const auto begin = Clock::now();
    m_readUntil = begin + m_timeLeft;
    m_chain.clear();
    dwfl_getthread_frames(m_dwfl, thread, takeFrame, this);
    m_timeLeft -= Clock::now() - begin;
    return m_chain;
}

bool Stacks::endsInNoLibrary(const CallChain &chain) const {
    return !chain.empty() && chain.back() != outerCallsLeftOut &&
           dwfl_addrmodule(m_dwfl, chain.back()) == nullptr;
}

Symbol Stacks::symbolAt(std::uint64_t address) {
    if (address == outerCallsLeftOut)
        return {"(outer calls are not shown: nested too deep or read too slowly)", {}};
    Dwfl_Module *module = dwfl_addrmodule(m_dwfl, address);
    if (module == nullptr)
        return {hexadecimal(address) + "  (in no library)", {}};
    Dwarf_Addr begin = 0;
    const char *path = dwfl_module_info(module, nullptr, &begin, nullptr, nullptr, nullptr, nullptr, nullptr);
    const char *name = dwfl_module_addrname(module, address);
    if (name == nullptr || *name == '\0')
        return {hexadecimal(address) + "  (" + fileNameOf(path) + " + " + hexadecimal(address - begin) + ")",
                {}};
    return {readableName(name) + "  (" + fileNameOf(path) + ")", lineOf(module, address)};
}

QByteArray Stacks::libraries() const {
    QByteArray result;
    const auto append = [](Dwfl_Module *module, void **, const char *name, Dwarf_Addr begin, void *argument) {
        Dwarf_Addr end = 0;
        Dwarf_Addr bias = 0;
        const unsigned char *identifier = nullptr;
        dwfl_module_info(module, nullptr, nullptr, &end, nullptr, nullptr, nullptr, nullptr);
        const bool isRead = dwfl_module_getelf(module, &bias) != nullptr;
        const char *failure = isRead ? nullptr : dwfl_errmsg(-1);
        const int count = dwfl_module_build_id(module, &identifier, &bias);
        QByteArray &text = *static_cast<QByteArray *>(argument);
        text += hexadecimal(begin, 12) + " - " + hexadecimal(end, 12) + "  " +
                (count <= 0 ? "no build identifier"
                            : QByteArray(reinterpret_cast<const char *>(identifier), count).toHex()) +
                "  " + escaped(name);
        text += isRead ? QByteArray("\n") : QByteArray("  (not read: ") + failure + ")\n";
        return int{DWARF_CB_OK};
    };
    dwfl_getmodules(m_dwfl, append, &result, 0);
    return result;
}

} // namespace spindump
