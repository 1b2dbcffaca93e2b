#include "Registers.h"

#include <algorithm>
#include <elf.h>
#include <iterator>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>

namespace spindump {

bool readRegisters(pid_t thread, Registers &registers) {
    struct user_regs_struct read {};
    struct iovec part {
        &read, sizeof read
    };
    if (::ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part) != 0 || part.iov_len != sizeof read)
        return false;
#if defined(__x86_64__)
    registers = {read.rax, read.rdx, read.rcx, read.rbx, read.rsi, read.rdi, read.rbp, read.rsp, read.r8,
                 read.r9,  read.r10, read.r11, read.r12, read.r13, read.r14, read.r15, read.rip};
#else
    std::copy(std::begin(read.regs), std::end(read.regs), registers.begin());
    registers[stackPointerIndex] = read.sp;
    registers[programCounterIndex] = read.pc;
#endif
    return true;
}

} // namespace spindump
