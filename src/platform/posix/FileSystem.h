// The operations on files that the C++ library lacks: bounded reads that no pipe or device can hold up,
// private copies, atomic replacement, creation dates.
//
// Any thread may call these. What fails gives nothing or false, with `error` set to the system's reason.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <QByteArrayView>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <sys/types.h>
#include <system_error>

namespace platform {

/// What an entry of a folder is by itself: a link is a link, whatever it points at.
enum class FileKind { regular, folder, link, special };

struct FileAttributes {
    FileKind kind = FileKind::special;
    std::uint64_t sizeBytes = 0;
    /// Absent on file systems that keep no creation date.
    std::optional<std::chrono::sys_time<std::chrono::nanoseconds>> creationDate;
};

/// The kind that a mode, as of stat(2), says.
FileKind kindOfMode(mode_t mode);

/// The attributes of the entry itself.
std::optional<FileAttributes> fileAttributes(const std::filesystem::path &path, std::error_code &error);

/// Reads from an open file to its end, but no more than `limitBytes`; also where the size says nothing about
/// the content.
std::optional<QByteArray> readAtMost(int file, std::size_t limitBytes, std::error_code &error);

/// Writes all of `bytes` to an open file; perhaps a part of them when it fails.
bool writeAll(int file, QByteArrayView bytes, std::error_code &error);

/// Where an open file has data next, from this place on; none when there is only a hole, or nothing, up to
/// its end. Where the file system knows no holes, all is data. Moves the file's offset.
std::optional<off_t> nextData(int file, off_t at);

/// `copyRange` (System.h) for files between which the system does not copy by itself.
bool copyThroughBuffer(int source, int destination, off_t bytes, std::error_code &error);

/// Opens a regular file, and nothing else (`invalid_argument`, `is_a_directory`), for reading and gives its
/// size. Never waits for a writer.
FileDescriptor openRegularFile(const std::filesystem::path &path, std::uint64_t &sizeBytes,
                               std::error_code &error);

/// The content of what `openRegularFile` opens when it has at most `limitBytes` (else `file_too_large`).
std::optional<QByteArray> readFile(const std::filesystem::path &path, std::size_t limitBytes,
                                   std::error_code &error);

/// Replaces `path` by a file with this content, or leaves it as it was: the content is written to a file
/// beside it, which is then renamed. A new file is the user's alone (mode 600); with `keepOwnerAndMode` it
/// gets the owner, mode, access list and extended attributes of the file that it replaces.
enum class Replacement { privateFile, keepOwnerAndMode };
bool writeFileAtomically(const std::filesystem::path &path, const QByteArray &content,
                         Replacement replacement, std::error_code &error);

/// Copies one regular file to a place where there is nothing yet; paths are taken from the open folders, or
/// from this process's own with AT_FDCWD. The copy is the user's alone (mode 600), has the source's
/// modification time and holes, and holds at most the bytes that the source had when it was opened, so that a
/// file that keeps growing does not keep the copy going. A copy that fails is removed.
bool copyRegularFile(int fromFolder, const std::filesystem::path &source, int toFolder,
                     const std::filesystem::path &destination, std::error_code &error);

/// What `path` leads to when it is a link of this user's or of root's; `path` itself when it is not.
std::filesystem::path behindLink(const std::filesystem::path &path, std::error_code &error);

} // namespace platform
