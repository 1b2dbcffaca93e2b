// Folders and trees of them by descriptor: what is done to a tree reaches only what is in it. No link is
// followed, not even one that takes the place of a folder meanwhile, and no depth uses up the descriptors or
// the stack.
//
// Any thread may call these. What fails gives nothing or false, with `error` set to the system's reason.
// Names are those of entries: one with a slash in it, "." and ".." are refused (`invalid_argument`).
#pragma once

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/FileSystem.h"

#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace platform {

/// Opens a folder by its path, following links as the system does.
FileDescriptor openFolder(const std::filesystem::path &path, std::error_code &error);

/// Opens a folder of an open folder; anything else there is refused (`not_a_directory`).
FileDescriptor openFolder(const FileDescriptor &parent, const std::string &name, std::error_code &error);

/// The same, after creating the folder, for the user alone, where nothing is.
FileDescriptor makeFolder(const FileDescriptor &parent, const std::string &name, std::error_code &error);

/// What an entry of an open folder is; none when it is not there.
std::optional<FileKind> kindOf(const FileDescriptor &folder, const std::string &name, std::error_code &error);

struct FolderEntry {
    std::string name;
    FileKind kind = FileKind::special;
};

/// The entries of an open folder, without "." and "..", in the order in which the file system lists them;
/// none on an error.
std::vector<FolderEntry> entriesOf(const FileDescriptor &folder, std::error_code &error);

/// Removes an entry of an open folder that is not itself a folder. False without an error when it is not
/// there.
bool removeEntry(const FileDescriptor &folder, const std::string &name, std::error_code &error);

/// Removes an entry of any kind with all that is in it. False without an error when it is not there.
bool removeTree(const FileDescriptor &folder, const std::string &name, std::error_code &error);

struct TreeCopy {
    /// The first thing that went wrong; none when all was copied.
    std::error_code error;
    /// Pipes, sockets and devices in the tree, which are left out.
    std::size_t skipped = 0;
    std::string firstSkipped;
};

/// Copies the file, link or folder `source` to an open folder, where nothing is yet under `name`. Links are
/// copied as links; copies are the user's alone and keep modification times, links excepted. An entry that
/// cannot be copied leaves nothing of itself, and the rest is copied. A pipe, socket or device as `source` is
/// an error (`operation_not_supported`).
TreeCopy copyTree(const std::filesystem::path &source, const FileDescriptor &folder, const std::string &name);

/// What tells a folder from all others: its device and inode.
using FolderIdentity = std::pair<dev_t, ino_t>;

/// The way from an open folder down to another one below it. Only the last few are kept open; the others are
/// reached again by "..", and must still be the same folders.
class FolderTrail {
public:
    explicit FolderTrail(FileDescriptor top);

    const FileDescriptor &folder() const { return m_levels.back().folder; }
    /// How many folders below the first one.
    std::size_t depth() const { return m_levels.size() - 1; }
    bool enter(const std::string &name, std::error_code &error);
    /// Goes back to the folder above; needs a depth.
    bool leave(std::error_code &error);

private:
    struct Level {
        FileDescriptor folder;
        // Of one that is no longer open.
        std::optional<FolderIdentity> identity = {};
    };
    std::deque<Level> m_levels;
};

/// A trail that also goes through the entries of each folder, as they were when it was entered. Takes memory
/// for the names in the folders of the trail.
class FolderWalk {
public:
    explicit FolderWalk(FileDescriptor top);

    const FileDescriptor &folder() const { return m_trail.folder(); }
    std::size_t depth() const { return m_trail.depth(); }
    /// The next entry of the folder; none when it has no more, or cannot be listed.
    std::optional<FolderEntry> next(std::error_code &error);
    /// The entry that came last.
    FolderEntry current() const;
    /// Goes into the entry that came last.
    bool enter(std::error_code &error);
    /// Goes back, to the entry that was entered; needs a depth.
    bool leave(std::error_code &error);
    /// Where the walk is, from its first folder.
    std::filesystem::path path() const;

private:
    struct Listing {
        // Places in `m_entries`; it ends where the next one begins.
        std::size_t begin = 0;
        std::size_t current = 0;
        std::size_t next = 0;
        bool isRead = false;
    };
    FolderEntry at(std::size_t place) const;

    FolderTrail m_trail;
    std::deque<Listing> m_listings;
    // The entries of all folders of the trail, each as its kind, its name and a zero.
    std::string m_entries;
};

} // namespace platform
