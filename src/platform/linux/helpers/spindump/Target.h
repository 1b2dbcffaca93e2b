// The process to be sampled. What is read of it comes from its folder under /proc, held open, so that a later
// process with the same id is never read in its place; what needs rights is opened at the start.
#pragma once

#include "Privileges.h"
#include "ProcFile.h"

namespace spindump {

/// What the report's header tells of the process.
struct TargetFacts {
    Reading<ProcStat> stat;
    Reading<std::string> status;
    Reading<std::string> executable;
    Reading<std::string> commandLine;
    Reading<std::string> io;
    Reading<std::size_t> openFiles;
};

class Target {
public:
    /// None, with the reason in `error`, when there is no such process or it is not allowed, see there.
    static std::optional<Target> open(pid_t processId, const AskingUser &asking, std::string &error);

    pid_t processId() const { return m_processId; }
    int folder() const { return m_folder.get(); }
    /// The threads' folder, the memory, the list of mappings, the root folder; closed when they could not be
    /// opened.
    int threads() const { return m_threads.get(); }
    int memory() const { return m_memory.get(); }
    int mappings() const { return m_mappings.get(); }
    int root() const { return m_root.get(); }

    /// Whether it still runs, is one whole process and the asking user's, and, when this process has rights
    /// that the user has not, whether it has none of its own: capabilities, another group. Else the system
    /// decides that. A program that is started with more rights keeps its process id.
    bool isAllowed(std::string &error) const;

    /// Opens what needs rights; the rest of this class then works without.
    void openPrivileged();
    const Reading<std::string> &executable() const { return m_executable; }
    TargetFacts facts() const;

private:
    Target(pid_t processId, platform::FileDescriptor folder, const AskingUser &asking)
        : m_processId(processId)
        , m_folder(std::move(folder))
        , m_asking(asking) {}

    pid_t m_processId = 0;
    platform::FileDescriptor m_folder;
    AskingUser m_asking;
    platform::FileDescriptor m_threads;
    platform::FileDescriptor m_memory;
    platform::FileDescriptor m_mappings;
    platform::FileDescriptor m_root;
    platform::FileDescriptor m_commandLine;
    Reading<std::string> m_executable;
    Reading<std::string> m_io;
    Reading<std::size_t> m_openFiles;
    /// 0 when not known.
    std::size_t m_argumentsBytes = 0;
};

} // namespace spindump
