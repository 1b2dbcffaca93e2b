// A lock by which one process of a user's keeps others out. Any thread.
#pragma once

#include <QString>
#include <filesystem>

namespace platform {

enum class Lock {
    held,
    /// By another process, or by an earlier call of this one.
    taken,
    /// The folder takes no lock that is safe from other users.
    impossible,
};

/// Locks the file `name`.lock in `folder`, which is created, for as long as this process lives; no other user
/// can take it. Programs that are started from here do not inherit it.
Lock lockForLife(const std::filesystem::path &folder, const QString &name);

} // namespace platform
