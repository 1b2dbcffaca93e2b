#include "tests/FaultInjector.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <unistd.h>

namespace faults {

namespace {

namespace fs = std::filesystem;
using test_support::ProgramRun;

struct Name {
    const char *text;
    std::uint64_t number;
};
#define CALL(name)                                                                                           \
    Name {                                                                                                   \
#name, SYS_##name                                                                                    \
    }

// Where calls name what they are about: the argument that is a descriptor, or the folder of a path; and the
// one that is a path. -1: none.
struct Calls {
    std::vector<Name> names;
    int descriptor;
    int path;
    std::vector<int> errors;
};

const std::vector<Calls> table = {
    {{CALL(open)}, -1, 0, {EIO, ENOSPC, EMFILE, ENOMEM, EINTR}},
    {{CALL(openat), CALL(openat2)}, 0, 1, {EIO, ENOSPC, EMFILE, ENOMEM, EINTR}},
    {{CALL(stat), CALL(lstat), CALL(statfs), CALL(access), CALL(readlink)}, -1, 0, {EIO, ENOMEM}},
    {{CALL(newfstatat), CALL(statx), CALL(faccessat), CALL(faccessat2), CALL(readlinkat)},
     0,
     1,
     {EIO, ENOMEM}},
    {{CALL(fstat), CALL(fstatfs), CALL(getdents64), CALL(fgetxattr), CALL(flistxattr)}, 0, -1, {EIO, ENOMEM}},
    {{CALL(mkdir), CALL(rmdir), CALL(unlink), CALL(rename), CALL(link), CALL(chmod)},
     -1,
     0,
     {EIO, ENOSPC, ENOMEM}},
    {{CALL(mkdirat), CALL(unlinkat), CALL(renameat), CALL(renameat2), CALL(linkat), CALL(fchmodat),
      CALL(utimensat)},
     0,
     1,
     {EIO, ENOSPC, ENOMEM}},
    {{CALL(symlinkat)}, 1, 2, {EIO, ENOSPC, ENOMEM}},
    {{CALL(fchmod), CALL(fchown), CALL(fsetxattr)}, 0, -1, {EIO, ENOSPC, ENOMEM}},
    {{CALL(read), CALL(pread64), CALL(readv), CALL(recvfrom), CALL(recvmsg)}, 0, -1, {EIO, ENOMEM, EINTR}},
    {{CALL(write), CALL(pwrite64), CALL(writev), CALL(sendfile), CALL(copy_file_range), CALL(fsync),
      CALL(fdatasync), CALL(ftruncate), CALL(fallocate)},
     0,
     -1,
     {EIO, ENOSPC, EINTR}},
    {{CALL(connect), CALL(sendto), CALL(sendmsg), CALL(sendmmsg)}, 0, -1, {EIO, ENOMEM, EINTR}},
    {{CALL(bind), CALL(getsockname), CALL(getpeername), CALL(getsockopt), CALL(setsockopt)}, 0, -1, {ENOMEM}},
    {{CALL(lseek), CALL(ioctl)}, 0, -1, {EIO}},
    {{CALL(flock)}, 0, -1, {EINTR, ENOMEM}},
    {{CALL(fcntl), CALL(dup)}, 0, -1, {EMFILE}},
    {{CALL(close)}, 0, -1, {EIO, EINTR}},
    // Sockets are only made here, and waited for.
    {{CALL(socket), CALL(socketpair)}, -1, -1, {EMFILE, ENOMEM}},
    {{CALL(poll), CALL(ppoll)}, -1, -1, {EINTR, ENOMEM}},
};
#undef CALL

std::pair<const Calls *, std::string> callOf(std::uint64_t number) {
    for (const Calls &calls : table) {
        const auto found = std::ranges::find(calls.names, number, &Name::number);
        if (found != calls.names.end())
            return {&calls, found->text};
    }
    return {nullptr, {}};
}

std::string procFile(pid_t thread, const std::string &name) {
    return "/proc/" + std::to_string(thread) + "/" + name;
}

std::string linkTarget(const std::string &link) {
    std::error_code error;
    return fs::read_symlink(link, error).native();
}

std::string textAt(pid_t thread, std::uint64_t address) {
    std::array<char, PATH_MAX + 1> buffer{};
    const int memory = ::open(procFile(thread, "mem").c_str(), O_RDONLY | O_CLOEXEC);
    (void)!::pread(memory, buffer.data(), buffer.size() - 1, static_cast<off_t>(address));
    ::close(memory);
    return buffer.data();
}

// The pipe by which a new process waits until it is traced: the program starts when the write end is closed.
std::array<int, 2> gate;

class Tracer {
public:
    Tracer(pid_t process, const std::vector<fs::path> &folders, const std::optional<Point> &point, Run &run)
        : m_process(process)
        , m_folders(folders)
        , m_point(point)
        , m_run(run) {}

    // Until the process has ended, of which its starter learns.
    void follow() {
        for (;;) {
            siginfo_t what{};
            constexpr int ends = WEXITED | WSTOPPED | __WALL;
            if (::waitid(P_ALL, 0, &what, ends | WNOWAIT) != 0)
                return;
            const bool hasEnded =
                what.si_code == CLD_EXITED || what.si_code == CLD_KILLED || what.si_code == CLD_DUMPED;
            if (hasEnded && what.si_pid == m_process)
                return;
            int status = 0;
            ::waitpid(what.si_pid, &status, __WALL);
            if (WIFSTOPPED(status))
                goOn(what.si_pid, status);
        }
    }

private:
    void goOn(pid_t thread, int status) {
        const int signal = WSTOPSIG(status);
        const bool isEvent = status >> 16 != 0;
        if (signal == (SIGTRAP | 0x80))
            atCall(thread);
        const int passedOn = isEvent || signal == (SIGTRAP | 0x80) ? 0 : signal;
        const bool isDone = m_run.isInjected && !m_injecting;
        ::ptrace(isDone ? PTRACE_CONT : PTRACE_SYSCALL, thread, nullptr, passedOn);
    }

    void atCall(pid_t thread) {
        struct __ptrace_syscall_info info {};
        ::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY && !m_run.isInjected)
            atEntry(thread, info);
        else if (info.op == PTRACE_SYSCALL_INFO_EXIT && m_injecting == thread) {
            set(thread, offsetof(struct user_regs_struct, rax), -m_point->error);
            m_injecting.reset();
        }
    }

    void atEntry(pid_t thread, const struct __ptrace_syscall_info &info) {
        const auto [calls, name] = callOf(info.entry.nr);
        const std::string object = calls != nullptr ? objectOf(*calls, thread, info) : std::string();
        if (object.empty())
            return;
        const int ordinal = m_run.calls[name]++;
        if (!m_point || m_point->call != name || m_point->ordinal != ordinal)
            return;
        m_run.isInjected = true;
        m_run.object = object;
        m_injecting = thread;
        // A close that fails has closed all the same; of any other call nothing happens.
        if (info.entry.nr != SYS_close)
            set(thread, offsetof(struct user_regs_struct, orig_rax), -1);
    }

    static void set(pid_t thread, std::size_t offset, long value) {
        ::ptrace(PTRACE_POKEUSER, thread, offset, value);
    }

    // What a call is about; empty when that is none of the folders' and no socket.
    std::string objectOf(const Calls &calls, pid_t thread, const struct __ptrace_syscall_info &info) const {
        if (calls.descriptor < 0 && calls.path < 0)
            return "socket";
        // On an open descriptor nothing but a copy can fail.
        if (info.entry.nr == SYS_fcntl && info.entry.args[1] != F_DUPFD_CLOEXEC)
            return {};
        const auto argument = [&](int index) { return info.entry.args[static_cast<std::size_t>(index)]; };
        const int descriptor = calls.descriptor < 0 ? AT_FDCWD : static_cast<int>(argument(calls.descriptor));
        std::string object = calls.path < 0 ? std::string() : textAt(thread, argument(calls.path));
        if (!object.starts_with('/')) {
            const std::string place = linkTarget(
                procFile(thread, descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor)));
            object = object.empty() ? place : place + '/' + object;
        }
        if (object.starts_with("socket:"))
            return "socket";
        const bool isBelow = std::ranges::any_of(
            m_folders, [&](const fs::path &folder) { return object.starts_with(folder.native()); });
        return isBelow ? object : std::string();
    }

    const pid_t m_process;
    const std::vector<fs::path> &m_folders;
    const std::optional<Point> &m_point;
    Run &m_run;
    // The thread whose call is failing.
    std::optional<pid_t> m_injecting;
};

} // namespace

std::string Point::text() const {
    return call + ' ' + std::to_string(ordinal) + ' ' + ::strerrorname_np(error);
}

std::vector<Point> pointsOf(const Run &run) {
    std::vector<Point> points;
    for (const Calls &calls : table) {
        for (const Name &name : calls.names) {
            const auto count = run.calls.find(name.text);
            for (int ordinal = 0; count != run.calls.end() && ordinal < count->second; ++ordinal) {
                for (const int error : calls.errors)
                    points.push_back({name.text, ordinal, error});
            }
        }
    }
    return points;
}

Run run(const test_support::ProgramOptions &program, const std::vector<fs::path> &folders,
        const std::optional<Point> &point, std::chrono::milliseconds limit,
        const std::function<bool()> &isGivenUp) {
    Run result;
    if (::pipe2(gate.data(), O_CLOEXEC) != 0)
        std::abort();
    auto options = program;
    options.beforeStart = [] {
        char none = 0;
        ::close(gate[1]);
        (void)!::read(gate[0], &none, 1);
    };
    ProgramRun running(options);
    constexpr long wanted = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
    if (::ptrace(PTRACE_SEIZE, running.processId(), nullptr, wanted) != 0)
        throw std::runtime_error(std::string("cannot trace: ") + std::strerror(errno));
    // The first stop, from which on its calls are followed.
    ::ptrace(PTRACE_INTERRUPT, running.processId(), nullptr, nullptr);
    ::close(gate[0]);
    ::close(gate[1]);

    std::atomic<bool> hasEnded = false;
    bool isStopped = false;
    std::thread watch([&] {
        const auto mustStop = [&] { return hasEnded || (isStopped = isGivenUp()); };
        result.isOverdue = !test_support::waitUntil(mustStop, limit);
        if (!hasEnded)
            ::kill(running.processId(), SIGKILL);
    });
    Tracer(running.processId(), folders, point, result).follow();
    hasEnded = true;
    watch.join();
    const auto end = running.waitForEnd();
    if (!result.isOverdue && !isStopped)
        result.end = end;
    result.standardOutput = running.standardOutput();
    result.standardError = running.standardError();
    return result;
}

} // namespace faults
