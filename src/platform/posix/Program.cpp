#include "platform/posix/Program.h"

#include "platform/System.h"

#include <QDeadlineTimer>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// Not every system's headers declare it.
extern "C" char **environ; // NOLINT(readability-redundant-declaration)

namespace platform {

namespace {

std::atomic<bool> stopRequested = false;

// Its read end is readable from the moment the programs are stopped, and is never read, so that every waiting
// thread sees it. Never closed. Not made before it is needed: a closed standard stream may still have to be
// opened, and this must not take its number.
const Pipe &stopPipe() {
    static const Pipe &pipe = *new Pipe(openPipe());
    return pipe;
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

// As the system takes them; valid as long as the texts are neither changed nor moved.
std::vector<char *> textPointers(std::vector<std::string> &texts) {
    std::vector<char *> pointers(texts.size() + 1);
    std::ranges::transform(texts, pointers.begin(), [](std::string &text) { return text.data(); });
    return pointers;
}

// A plain file that is there is removed rather than emptied: it may have other names.
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

// The descriptors that become the child's streams, the null device where there is none, and the one on which
// it reports why it could not start the program.
struct Streams {
    int output;
    int errors;
    int report;
};

// Only calls that are safe between the fork of a process with threads and the exec.
[[noreturn]] void becomeProgram(const Program &program, char *const *arguments, char *const *environment,
                                pid_t parent, const Streams &streams) {
    std::signal(SIGPIPE, SIG_DFL);
    const bool hasParent = staysWithParent(parent);
    const int null = ::open("/dev/null", O_RDWR);
    const auto use = [null](int stream, int target) {
        return ::dup2(stream < 0 ? null : stream, target) >= 0;
    };
    const bool ready = ::dup2(null, STDIN_FILENO) >= 0 && use(streams.output, STDOUT_FILENO) &&
                       use(streams.errors, STDERR_FILENO);
    if (null > STDERR_FILENO)
        ::close(null);
    const bool placed = program.workingFolder.empty() || ::chdir(program.workingFolder.c_str()) == 0;
    if (hasParent && ready && placed)
        ::execve(program.path.c_str(), arguments, environment);
    const int reason = errno;
    (void)!::write(streams.report, &reason, sizeof reason);
    ::_exit(EXIT_FAILURE);
}

pid_t start(const Program &program, const Streams &streams) {
    std::vector<std::string> argumentTexts = program.arguments;
    argumentTexts.insert(argumentTexts.begin(), program.path.native());
    std::vector<std::string> variableTexts = childEnvironment(program);
    const auto arguments = textPointers(argumentTexts);
    const auto environment = textPointers(variableTexts);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0)
        becomeProgram(program, arguments.data(), environment.data(), parent, streams);
    return child;
}

// One of the child's streams, of which the beginning is kept.
struct KeptStream {
    FileDescriptor end;
    QByteArray &kept;
    qsizetype limitBytes;

    // Reads what is there now, and closes the stream when no more can come.
    void read() {
        std::array<char, 65536> buffer;
        const ssize_t count = uninterrupted([&] { return ::read(end.get(), buffer.data(), buffer.size()); });
        if (count > 0)
            kept.append(buffer.data(), std::min<qsizetype>(count, limitBytes - kept.size()));
        else if (count == 0 || errno != EAGAIN)
            end = FileDescriptor();
    }

    // Reads what is left when the child has ended; others may still hold the stream open.
    void readRest() {
        for (qsizetype before = -1; end && kept.size() < limitBytes && kept.size() != before;) {
            before = kept.size();
            read();
        }
    }
};

// A child process that is waited for.
class Child {
public:
    explicit Child(pid_t process)
        : m_process(process)
        , m_end(endOf(process)) {}

    // Waits for the child, not for the end of its streams, which others may have inherited. False when the
    // programs are stopped, the time is up or `cancelled` turns true first.
    bool waitForEnd(std::array<KeptStream, 2> streams, const QDeadlineTimer &deadline,
                    const std::atomic<bool> *cancelled) {
        constexpr int lookMilliseconds = 100;
        for (;;) {
            std::array<struct pollfd, 4> events = {{{m_end.get(), POLLIN, 0},
                                                    {streams[0].end.get(), POLLIN, 0},
                                                    {streams[1].end.get(), POLLIN, 0},
                                                    {stopPipe().readEnd.get(), POLLIN, 0}}};
            ::poll(events.data(), events.size(),
                   cancelled == nullptr ? pollMilliseconds(deadline) : lookMilliseconds);
            if (hasEnded())
                break;
            // Not every system waits for every kind of descriptor.
            if ((events[0].revents & POLLNVAL) != 0)
                m_end = FileDescriptor();
            for (std::size_t i = 0; i < streams.size(); ++i) {
                if (events[i + 1].revents != 0)
                    streams[i].read();
            }
            if (events[3].revents != 0 || deadline.hasExpired() || (cancelled != nullptr && *cancelled)) {
                kill();
                return false;
            }
        }
        for (KeptStream &stream : streams)
            stream.readRest();
        return true;
    }

    // How it ended.
    int status() const { return m_status; }

private:
    bool hasEnded() { return ::waitpid(m_process, &m_status, WNOHANG) == m_process; }

    int pollMilliseconds(const QDeadlineTimer &deadline) const {
        constexpr int lookMilliseconds = 10;
        constexpr qint64 longestMilliseconds = 3'600'000;
        if (!m_end)
            return lookMilliseconds;
        return static_cast<int>(std::min(deadline.remainingTime(), longestMilliseconds));
    }

    void kill() {
        constexpr int momentMilliseconds = 100;
        struct pollfd ended = {m_end.get(), POLLIN, 0};
        if (::kill(m_process, SIGKILL) == 0 && ::poll(&ended, 1, momentMilliseconds) >= 0)
            hasEnded();
    }

    pid_t m_process;
    int m_status = 0;
    // Readable once the child has ended. Where there is none the child is looked at now and then.
    FileDescriptor m_end;
};

ProgramOutcome notStarted(const std::error_code &error, const std::filesystem::path &path) {
    return {.exitStatus = {}, .startError = error, .startErrorPath = path, .errorOutput = {}, .output = {}};
}

ProgramOutcome run(const Program &program, bool keepsErrors) {
    if (stopRequested)
        return {};
    std::error_code error;
    FileDescriptor output;
    if (!program.standardOutput.empty() && !(output = makeOutputFile(program.standardOutput, error)))
        return notStarted(error, program.standardOutput);
    const bool keepsOutput = program.keptOutputBytes > 0;
    Pipe report = openPipe();
    Pipe errors = keepsErrors && report ? openPipe() : Pipe();
    Pipe kept = keepsOutput && report ? openPipe() : Pipe();
    const bool hasPipes = report && (errors || !keepsErrors) && (kept || !keepsOutput);
    const int outputEnd = keepsOutput ? kept.writeEnd.get() : output.get();
    const pid_t process =
        hasPipes ? start(program, {outputEnd, errors.writeEnd.get(), report.writeEnd.get()}) : -1;
    if (process < 0)
        return notStarted(systemError(), program.path);
    for (Pipe *pipe : {&report, &errors, &kept})
        pipe->writeEnd = FileDescriptor();

    ProgramOutcome outcome;
    Child child(process);
    const QDeadlineTimer deadline =
        program.timeLimit ? QDeadlineTimer(*program.timeLimit) : QDeadlineTimer(QDeadlineTimer::Forever);
    if (!child.waitForEnd({{{std::move(errors.readEnd), outcome.errorOutput, errorOutputLimitBytes},
                            {std::move(kept.readEnd), outcome.output, program.keptOutputBytes}}},
                          deadline, program.cancelled))
        return outcome;
    int reason = 0;
    if (::read(report.readEnd.get(), &reason, sizeof reason) == sizeof reason) {
        if (output)
            ::unlink(program.standardOutput.c_str());
        return notStarted({reason, std::generic_category()}, program.path);
    }
    if (WIFEXITED(child.status()))
        outcome.exitStatus = WEXITSTATUS(child.status());
    else
        outcome.signal = WTERMSIG(child.status());
    return outcome;
}

} // namespace

ProgramOutcome outcomeOf(const Program &program) {
    return run(program, true);
}

std::optional<int> runProgram(const Program &program) {
    return run(program, false).exitStatus;
}

void stopPrograms() {
    stopRequested = true;
    (void)!::write(stopPipe().writeEnd.get(), "", 1);
}

bool programsAreStopped() {
    // From now on a signal handler that stops the programs has what it needs.
    stopPipe();
    return stopRequested;
}

} // namespace platform
