// The file operations that the C++ library lacks: bounded reads that cannot be held up by a pipe or a
// device, private copies, atomic replacement, creation dates.
//
// Any thread may call these. Errors are the system's; `message()` of the error code describes them.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

namespace platform {

/// What an entry of a folder is, judged by itself: a link is a link, whatever it points at.
enum class FileKind { regular, folder, link, special };

struct FileAttributes {
    FileKind kind = FileKind::special;
    std::uint64_t sizeBytes = 0;
    /// Absent on file systems that keep no creation date.
    std::optional<std::chrono::sys_time<std::chrono::nanoseconds>> creationDate;
};

/// The attributes of the entry itself; nothing with `error` set when they cannot be read.
std::optional<FileAttributes> fileAttributes(const std::filesystem::path &path, std::error_code &error);

/// Opens a regular file for reading and tells its size; an empty descriptor with `error` set when it is
/// anything else (`invalid_argument`, `is_a_directory`) or cannot be opened. Never waits for a writer.
FileDescriptor openRegularFile(const std::filesystem::path &path, std::uint64_t &sizeBytes,
                               std::error_code &error);

/// The content of a regular file of at most `limitBytes`; nothing with `error` set when it is anything
/// else (`invalid_argument`), larger (`file_too_large`) or unreadable. Never waits for a writer.
std::optional<QByteArray> readFile(const std::filesystem::path &path, std::size_t limitBytes,
                                   std::error_code &error);

/// Replaces `path` by a file with this content, or leaves it as it was: written beside, then renamed.
/// A new file is the user's alone (mode 600). With `keepOwnerAndMode` an existing file's are taken over
/// before it is replaced.
enum class Replacement { privateFile, keepOwnerAndMode };
bool writeFileAtomically(const std::filesystem::path &path, const QByteArray &content,
                         Replacement replacement, std::error_code &error);

/// Copies one regular file to a place where nothing stands. The copy is the user's alone (mode 600), has
/// the source's modification time, and holds at most the bytes that the source had when it was opened,
/// so a file that grows for ever ends. On failure nothing is left at `destination`.
bool copyRegularFile(const std::filesystem::path &source, const std::filesystem::path &destination,
                     std::error_code &error);

/// Opens a folder for `removeEntry`; a link to one is not followed.
FileDescriptor openFolder(const std::filesystem::path &path, std::error_code &error);

/// Removes an entry of an open folder that is no folder itself: a link goes, not what it points at. False
/// when it is not there, which is no error, or with `error` set. Faster than by a path, which is looked up
/// anew each time.
bool removeEntry(const FileDescriptor &folder, const std::filesystem::path &name, std::error_code &error);

/// Gives `destination` the modification time of `source`, where both allow it.
void copyModificationTime(const std::filesystem::path &source, const std::filesystem::path &destination);

} // namespace platform
