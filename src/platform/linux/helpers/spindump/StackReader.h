// The process that reads stacks: it turns snapshots into call trees with names.
//
// It is a child of its own because it reads what the target can shape (program files, debug information,
// stacks) through a large library: whatever such a file does to it, the sampler goes on, lets the target go,
// and says what happened. It runs at low priority, with a bounded amount of memory, and ends with its parent.
// Snapshots reach it through a pipe that is never waited for; what the pipe does not hold waits here.
#pragma once

#include "Limits.h"
#include "StackMessage.h"
#include "Target.h"

#include <chrono>
#include <deque>
#include <map>

namespace spindump {

/// What the child found out, as text for the report.
struct ReadStacks {
    std::map<pid_t, std::string> trees;
    std::string bundle;
    std::string libraries;
    /// Why the rest is missing; empty when nothing is.
    std::string failure;
};

class StackReader {
public:
    StackReader() = default;
    /// Kills the child if it still runs.
    ~StackReader();
    StackReader(const StackReader &) = delete;
    StackReader &operator=(const StackReader &) = delete;

    /// False, with the reason in `error`, when no process can be made.
    bool start(const Target &target, const Limits &limits, std::string &error);

    void send(const Snapshot &snapshot);
    /// The thread was seen `weight` times more where its last snapshot shows it.
    void sendRepeat(pid_t thread, std::uint32_t weight);
    /// No more snapshots come.
    void sendEnd();

    /// Writes what the pipe takes.
    void flush();
    std::size_t backlogBytes() const { return m_backlogBytes; }
    /// To be waited upon for writing while there is a backlog.
    int pipe() const { return m_pipe.get(); }

    /// To be called with each child that ended.
    void noteEnd(pid_t process, int status);
    bool hasEnded() const { return m_process == 0; }
    void kill(const std::string &reason);
    /// What it left; to be called when it has ended.
    ReadStacks result() const;

private:
    void enqueue(MessageKind kind, const Snapshot &message);

    pid_t m_process = 0;
    platform::FileDescriptor m_pipe;
    platform::FileDescriptor m_result;
    std::deque<std::vector<std::byte>> m_backlog;
    std::size_t m_backlogBytes = 0;
    std::size_t m_firstOffset = 0;
    std::string m_failure;
};

} // namespace spindump
