#include "platform/posix/Program.h"

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/TextPointers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

std::atomic<bool> stopRequested = false;

// Readable from the moment the programs are stopped, and never read: every thread that waits sees it. Not
// made before it is needed, when a standard stream that is closed may still be to be opened.
int stopEvent() {
    static const int event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return event;
}

std::error_code systemError() {
    return {errno, std::generic_category()};
}

std::vector<std::string> childEnvironment(const Program &program) {
    std::vector<std::string> result;
    for (const auto &[name, value] : program.variables)
        result.push_back(std::string(name).append("=").append(value));
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const auto isSet = [&](const auto &variable) { return text.starts_with(variable.first + "="); };
        if (std::none_of(program.variables.begin(), program.variables.end(), isSet))
            result.emplace_back(text);
    }
    return result;
}

// A pipe whose reader never waits.
struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;

    bool open() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return false;
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
        return ::fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
    }
};

// A plain file that stood there goes, and not only its content: it may have other names.
FileDescriptor makeOutputFile(const std::filesystem::path &path, std::error_code &error) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        ::unlink(path.c_str());
    FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file)
        error = systemError();
    return file;
}

// What the child gets in the place of its streams: the null device where there is none.
struct Streams {
    int output;
    int errors;
    int report;
};

// Between fork and exec only calls that are safe after a fork of a process with threads.
[[noreturn]] void becomeProgram(const Program &program, char *const *arguments, char *const *environment,
                                pid_t parent, const Streams &streams) {
    std::signal(SIGPIPE, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = ::open("/dev/null", O_RDWR);
    const auto use = [null](int stream, int target) {
        return ::dup2(stream < 0 ? null : stream, target) >= 0;
    };
    const bool ready = ::dup2(null, STDIN_FILENO) >= 0 && use(streams.output, STDOUT_FILENO) &&
                       use(streams.errors, STDERR_FILENO);
    if (null > STDERR_FILENO)
        ::close(null);
    const bool placed = program.workingFolder.empty() || ::chdir(program.workingFolder.c_str()) == 0;
    if (::getppid() == parent && ready && placed)
        ::execve(program.path.c_str(), arguments, environment);
    const int reason = errno;
    (void)!::write(streams.report, &reason, sizeof reason);
    ::_exit(EXIT_FAILURE);
}

// Reads what is there now; keeps the beginning of all. False when no more can come.
bool readErrors(int stream, QByteArray &kept) {
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(stream, buffer.data(), buffer.size());
    if (count > 0)
        kept.append(buffer.data(), std::min<qsizetype>(count, errorOutputLimitBytes - kept.size()));
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

// Whether the child has ended, and how.
bool hasEnded(pid_t child, int &status) {
    return ::waitpid(child, &status, WNOHANG) == child;
}

void kill(pid_t child, int end) {
    constexpr int momentMilliseconds = 100;
    int status = 0;
    struct pollfd ended = {end, POLLIN, 0};
    if (::kill(child, SIGKILL) == 0 && ::poll(&ended, 1, momentMilliseconds) >= 0)
        hasEnded(child, status);
}

// Waits for the child, not for the end of its error stream, which others may have inherited. False when the
// programs are stopped first.
bool waitForEnd(pid_t child, FileDescriptor errors, QByteArray &kept, int &status) {
    // Without one, on a kernel or in a sandbox that has none, the child is looked at now and then.
    const FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    constexpr int lookMilliseconds = 10;
    for (;;) {
        std::array<struct pollfd, 3> events = {
            {{end.get(), POLLIN, 0}, {errors.get(), POLLIN, 0}, {stopEvent(), POLLIN, 0}}};
        ::poll(events.data(), events.size(), end ? -1 : lookMilliseconds);
        if (hasEnded(child, status))
            break;
        if (events[1].revents != 0 && !readErrors(errors.get(), kept))
            errors = FileDescriptor();
        if (events[2].revents != 0) {
            kill(child, end.get());
            return false;
        }
    }
    for (qsizetype before = -1; errors && kept.size() < errorOutputLimitBytes && kept.size() != before;) {
        before = kept.size();
        readErrors(errors.get(), kept);
    }
    return true;
}

ProgramOutcome notStarted(const std::error_code &error, const std::filesystem::path &path) {
    ProgramOutcome outcome;
    outcome.startError = error;
    outcome.startErrorPath = path;
    return outcome;
}

ProgramOutcome run(const Program &program, bool keepsErrors) {
    if (stopRequested)
        return {};
    std::vector<std::string> argumentTexts = program.arguments;
    argumentTexts.insert(argumentTexts.begin(), program.path.native());
    std::vector<std::string> variableTexts = childEnvironment(program);
    const auto arguments = textPointers(argumentTexts);
    const auto environment = textPointers(variableTexts);

    std::error_code error;
    FileDescriptor output;
    if (!program.standardOutput.empty() && !(output = makeOutputFile(program.standardOutput, error)))
        return notStarted(error, program.standardOutput);
    Pipe report;
    Pipe errors;
    if (!report.open() || (keepsErrors && !errors.open()))
        return notStarted(systemError(), program.path);

    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0)
        return notStarted(systemError(), program.path);
    if (child == 0)
        becomeProgram(program, arguments.data(), environment.data(), parent,
                      {output.get(), errors.writeEnd.get(), report.writeEnd.get()});
    report.writeEnd = FileDescriptor();
    errors.writeEnd = FileDescriptor();

    ProgramOutcome outcome;
    int status = 0;
    if (!waitForEnd(child, std::move(errors.readEnd), outcome.errorOutput, status))
        return outcome;
    int reason = 0;
    if (::read(report.readEnd.get(), &reason, sizeof reason) == sizeof reason) {
        if (output)
            ::unlink(program.standardOutput.c_str());
        return notStarted({reason, std::generic_category()}, program.path);
    }
    if (WIFEXITED(status))
        outcome.exitStatus = WEXITSTATUS(status);
    else
        outcome.signal = WTERMSIG(status);
    return outcome;
}

} // namespace

ProgramOutcome outcomeOf(const Program &program) {
    return run(program, true);
}

std::optional<int> runProgram(const Program &program, QByteArray *errorOutput) {
    const ProgramOutcome outcome = run(program, errorOutput != nullptr);
    if (errorOutput != nullptr)
        *errorOutput = outcome.errorOutput;
    return outcome.exitStatus;
}

void stopPrograms() {
    stopRequested = true;
    const std::uint64_t once = 1;
    (void)!::write(stopEvent(), &once, sizeof once);
}

bool programsAreStopped() {
    // What a signal handler that stops the programs needs is there from now on.
    stopEvent();
    return stopRequested;
}

} // namespace platform
