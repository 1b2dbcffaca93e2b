// Programs that a test starts and that end with it.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test_support {

class ChildProcess {
public:
    /// Starts a program and waits until it runs. `prepare` is called in the child first.
    ChildProcess(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                 const std::function<void()> &prepare = [] {});
    ChildProcess(ChildProcess &&other) noexcept;
    ChildProcess(const ChildProcess &) = delete;
    /// Kills it.
    ~ChildProcess();

    /// Whether it could be started.
    bool isStarted() const { return m_process > 0; }
    pid_t processIdentifier() const { return m_process; }

private:
    pid_t m_process = -1;
};

/// What `work` gives as exit status in a child process: 128 and the signal when it was killed.
int statusInChild(const std::function<int()> &work);

/// The state letter of a process, 'Z' when it has ended and was not waited for, blank when there is none.
char processState(pid_t process);

} // namespace test_support
