// The process to be sampled, and whether it may be.
//
// What is read of it comes from its folder under /proc, held open, so that a later process with the same id
// is never read in its place. What needs rights is opened, and read but not interpreted, before they are
// dropped.
#pragma once

#include "Privileges.h"
#include "ProcFile.h"

namespace spindump {

/// Raw contents for the report's header, empty where they cannot be read.
struct TargetFacts {
    QByteArray stat;
    QByteArray status;
    QByteArray executable;
    /// The arguments, a zero after each.
    QByteArray commandLine;
    QByteArray io;
    QByteArray openFiles;
};

struct Target {
    /// Throws Failure when there is no such process, or when it is not allowed, see `requireAllowed`.
    Target(pid_t processId, const AskingUser &asking);

    /// Throws Failure unless it still runs, is one whole process and the asking user's, and, when this
    /// process has rights that the user has not, has none of its own: capabilities, another group. Otherwise
    /// the system decides that. A program that is started with more rights keeps its process id.
    void requireAllowed() const;

    const pid_t processId;
    const AskingUser asking;
    const platform::FileDescriptor folder;
    /// The threads' folder, the memory, the list of mappings, the root folder; closed when they could not be
    /// opened.
    platform::FileDescriptor threads;
    platform::FileDescriptor memory;
    platform::FileDescriptor mappings;
    platform::FileDescriptor root;
    TargetFacts facts;
};

/// "process 7", for messages.
QByteArray processNamed(pid_t processId);

} // namespace spindump
