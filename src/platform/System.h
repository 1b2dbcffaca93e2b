// What the code that Linux and macOS share needs from the system and each of them spells in its own way.
//
// Any thread may call these.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <ctime>
#include <filesystem>
#include <sys/stat.h>
#include <sys/types.h>
#include <system_error>

namespace platform {

/// The folder in a bundle's `Contents` that holds its main program.
std::filesystem::path programFolder();

/// The real path of the running executable; empty when the system does not say.
std::filesystem::path runningExecutable();

/// Names the calling thread; at most 15 characters.
void nameThread(const char *name);

/// A pipe that programs started from here do not inherit. Its read end never waits.
struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
    explicit operator bool() const { return static_cast<bool>(readEnd); }
};

/// Both ends are empty when the system has no more descriptors.
Pipe openPipe();

/// A descriptor that is readable once this child has ended; none when the system gives none.
FileDescriptor endOf(pid_t child);

/// For a new child, before it becomes another program: whether its parent is still there. Where the system
/// can, it kills the child when the thread that started it ends. Only calls that are safe after a fork.
bool staysWithParent(pid_t parent);

/// When the content last changed.
struct timespec modificationTime(const struct stat &status);

/// Copies what the first file has from its position on, at most this many bytes, to the position of the
/// second one. Less when the file has become shorter.
bool copyRange(int source, int destination, off_t bytes, std::error_code &error);

/// Gives a new file the owner, mode, access list and other extended attributes of the file `existing`, which
/// has this status; all but those that the system keeps to itself.
bool takeOver(const std::filesystem::path &existing, const struct stat &status, int file);

} // namespace platform
