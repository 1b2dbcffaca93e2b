// Who asks for a sample, of which process, and whether that is allowed; what the kernel says of the process
// in the files of its folder under /proc.
//
// That folder is held open, so that a later process with the same id is never read in its place. What needs
// rights is opened, and read but not interpreted, before they are dropped, and after the process is held: one
// that begins to run another program then waits until the sampler has seen it.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <QByteArrayList>
#include <cstdint>
#include <string>
#include <sys/types.h>

namespace spindump {

struct AskingUser {
    uid_t user = 0;
    gid_t group = 0;
    /// Whether this process has rights that the user has not.
    bool elevated = false;
};

/// The user whom pkexec names when this process was started as root by it, else the real user of this
/// process. Throws Failure when pkexec names nobody that this system knows.
AskingUser askingUser();

/// To be called by the only thread of the process. For good: no new rights through any program. When
/// elevated: the identity of the asking user, no further groups, no capability. Throws Failure when any of it
/// fails or does not last.
void dropPrivileges(const AskingUser &asking);

struct Target {
    /// Throws Failure when there is no such process, or when it is not allowed, see `requireAllowed`.
    Target(pid_t processId, const AskingUser &asking);

    /// Opens and reads all that follows the threads' folder. Throws as `requireAllowed`. The process is held.
    void identify();

    /// Throws Failure unless it still runs, is one whole process and the asking user's, and, when this
    /// process has rights that the user has not, has none of its own: capabilities, another group. Otherwise
    /// the system decides that. A program that is started with more rights keeps its process id.
    void requireAllowed() const;

    /// When elevated, throws Failure unless it is the main program of one of the product's bundles. Their
    /// files are the user's to write: without rights.
    void requireProduct() const;

    const pid_t processId;
    const AskingUser asking;
    const platform::FileDescriptor folder;
    const platform::FileDescriptor threads;
    /// The memory, the list of mappings, the root folder; closed when they could not be opened.
    platform::FileDescriptor memory;
    platform::FileDescriptor mappings;
    platform::FileDescriptor root;
    /// Raw contents for the report, empty where they cannot be read.
    QByteArray stat;
    QByteArray status;
    QByteArray executable;
    /// The arguments, a zero after each.
    QByteArray commandLine;
    QByteArray io;
    QByteArray openFiles;
};

/// "process 7", for messages.
QByteArray processNamed(pid_t processId);

/// Closed when it cannot be opened. `folder` is an open one, or AT_FDCWD.
platform::FileDescriptor openIn(int folder, const std::string &name, int flags);

/// Up to `limitBytes` of the file from its start; empty when it cannot be read. A descriptor may be read
/// again and again.
QByteArray contentOf(int file, std::size_t limitBytes = 1 << 16);
QByteArray contentIn(int folder, const std::string &name);

/// The text after "Name:" in a `status` or `io` file, without the blanks around it; empty when there is none.
QByteArray statusField(const QByteArray &text, const QByteArray &name);

/// A `stat` file. Its fields are numbered as in proc(5); one that is not there is 0.
struct ProcStat {
    explicit ProcStat(const QByteArray &text);
    std::uint64_t number(int field) const { return fields.value(field - 3).toULongLong(); }
    double seconds(int field) const;

    QByteArray name;
    char state = '?';
    /// From the third on.
    QByteArrayList fields;
};

} // namespace spindump
