// Processes that a test starts: a program as a user would start it, with what it prints and how it ends, and
// copies of the test's own process. They are killed when the thread that started them ends.
#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

// How a process ended, as a shell has it: its status, or 128 and the signal.
inline int exited(int status) {
    return status;
}
inline int killedBy(int signal) {
    return 128 + signal;
}

struct ProgramOptions {
    std::filesystem::path program;
    std::vector<std::string> arguments = {};
    /// The program's first argument; empty: its path.
    std::string name = {};
    /// Set, or unset, on top of this process's environment; the last one of a name counts.
    std::vector<std::pair<std::string, std::optional<std::string>>> variables = {};
    std::filesystem::path workingFolder = "/";
    /// Another user, and the group of the same number.
    std::optional<uid_t> user = std::nullopt;
    /// Called in the new process before the program; may do system calls and nothing else.
    void (*beforeStart)() = nullptr;
};

/// One run of a program; killed and reaped with its object.
class ProgramRun {
public:
    /// Starts the program, with the most permissive file mode mask there is.
    explicit ProgramRun(const ProgramOptions &options);
    ~ProgramRun();
    ProgramRun(const ProgramRun &) = delete;
    ProgramRun &operator=(const ProgramRun &) = delete;

    pid_t processId() const { return m_processId; }
    bool isRunning();
    void send(int signal) const;
    /// None when the program still runs after `limit`.
    std::optional<int> waitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(30));

    /// The first line that a server prints once it takes clients; throws std::runtime_error with what it
    /// printed as errors when it ends before.
    std::string waitForFirstLine();
    std::string standardOutput() const;
    std::string standardError() const;
    /// The most memory that it held at a time; known when it has ended.
    std::uint64_t peakMemoryBytes() const { return m_peakMemoryBytes; }

private:
    void reap(int options);

    pid_t m_processId = 0;
    int m_output = -1;
    int m_errors = -1;
    std::optional<int> m_end;
    std::uint64_t m_peakMemoryBytes = 0;
};

/// Runs `work` in a copy of this process, which ends with the status that it gives.
pid_t startInChild(const std::function<int()> &work);
/// How a child process ended, which is waited for.
int statusOf(pid_t child);
int statusInChild(const std::function<int()> &work);

/// Whether this process may start programs as that user.
bool canRunAs(uid_t user);

/// The processes, of those that a test can see, that run a program of this name and have not ended.
std::vector<pid_t> processesOf(const std::string &programName);

/// Waits until `condition` holds; false when `limit` passes first.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// The same with a limit that is counted in looks of a millisecond and not by the clock: on a busy machine
/// the thread that looks waits for a processor as long as the one that it looks at.
template <typename Condition>
bool soon(Condition condition, std::chrono::milliseconds limit) {
    for (auto looked = std::chrono::milliseconds(0); looked < limit && !condition(); ++looked)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

} // namespace test_support
