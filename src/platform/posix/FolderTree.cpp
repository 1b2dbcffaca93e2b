#include "platform/posix/FolderTree.h"

#include "platform/System.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool isEntryName(const std::string &name, std::error_code &error) {
    const bool isName = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
    if (!isName)
        error = std::make_error_code(std::errc::invalid_argument);
    return isName;
}

FileDescriptor opened(int folder, const char *name, int flags, std::error_code &error) {
    FileDescriptor descriptor(::openat(folder, name, folderFlags | flags));
    if (!descriptor)
        error = systemError();
    return descriptor;
}

// Most file systems tell the kind in the listing.
std::optional<FileKind> listedKind(const FileDescriptor &folder, const struct dirent &entry) {
    if (entry.d_type != DT_UNKNOWN)
        return kindOfMode(static_cast<mode_t>(DTTOIF(entry.d_type)));
    std::error_code error;
    return kindOf(folder, entry.d_name, error);
}

// Calls `take` with each entry's name and kind.
template <typename Take>
void list(const FileDescriptor &folder, std::error_code &error, Take take) {
    const auto close = [](DIR *stream) { ::closedir(stream); };
    FileDescriptor copy(::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0));
    const std::unique_ptr<DIR, decltype(close)> stream(copy ? ::fdopendir(copy.get()) : nullptr, close);
    if (!stream) {
        error = systemError();
        return;
    }
    copy.release();
    errno = 0;
    while (const struct dirent *entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            if (const auto kind = listedKind(folder, *entry))
                take(entry->d_name, *kind);
        }
        errno = 0;
    }
    if (errno != 0)
        error = systemError();
}

void copyLink(int fromFolder, const char *from, const FileDescriptor &folder, const std::string &name,
              std::error_code &error) {
    char target[4096];
    const ssize_t size = ::readlinkat(fromFolder, from, target, sizeof target - 1);
    if (size >= 0)
        target[size] = '\0';
    if (size < 0 || ::symlinkat(target, folder.get(), name.c_str()) != 0)
        error = systemError();
}

// What tells a folder from all others; none when the system does not say.
std::optional<FolderIdentity> identityOf(const FileDescriptor &folder) {
    struct stat status {};
    if (::fstat(folder.get(), &status) != 0)
        return std::nullopt;
    return FolderIdentity(status.st_dev, status.st_ino);
}

void copyModificationTime(const FileDescriptor &from, const FileDescriptor &to) {
    struct stat status {};
    if (::fstat(from.get(), &status) != 0)
        return;
    const struct timespec times[2] = {{0, UTIME_OMIT}, modificationTime(status)};
    ::futimens(to.get(), times);
}

// False when anything is there.
bool makeNewFolder(const FileDescriptor &parent, const std::string &name, std::error_code &error) {
    if (::mkdirat(parent.get(), name.c_str(), S_IRWXU) != 0)
        error = systemError();
    return !error;
}

// Copies what is in one folder to another one, which is empty.
class FolderCopy {
public:
    FolderCopy(FileDescriptor from, FileDescriptor to, TreeCopy &result)
        : m_from(std::move(from))
        , m_to(std::move(to))
        , m_top(identityOf(m_to.folder()))
        , m_result(result) {}

    void run() {
        while (m_isWhole) {
            std::error_code error;
            if (const auto entry = m_from.next(error)) {
                copy(*entry);
                continue;
            }
            note(error);
            copyModificationTime(m_from.folder(), m_to.folder());
            if (m_from.depth() == 0)
                return;
            leave();
        }
    }

private:
    void copy(const FolderEntry &entry) {
        std::error_code error;
        switch (entry.kind) {
        case FileKind::regular:
            copyRegularFile(m_from.folder().get(), entry.name, m_to.folder().get(), entry.name, error);
            return note(error);
        case FileKind::folder:
            return enter(entry.name);
        case FileKind::link:
            copyLink(m_from.folder().get(), entry.name.c_str(), m_to.folder(), entry.name, error);
            return note(error);
        case FileKind::special:
            if (m_result.skipped++ == 0)
                m_result.firstSkipped = entry.name;
        }
    }

    // A folder that cannot be read leaves an empty one.
    void enter(const std::string &name) {
        std::error_code error;
        if (!makeNewFolder(m_to.folder(), name, error) || !m_from.enter(error))
            return note(error);
        // A source above the copy is not copied into itself for ever.
        if (identityOf(m_from.folder()) == m_top)
            error = std::make_error_code(std::errc::invalid_argument);
        if (error || !m_to.enter(name, error)) {
            note(error);
            m_isWhole = m_from.leave(error);
        }
    }

    // The two stay side by side, or the rest would get to the wrong place.
    void leave() {
        std::error_code error;
        m_isWhole = m_from.leave(error) && m_to.leave(error);
        note(error);
    }

    void note(const std::error_code &error) {
        if (error && !m_result.error)
            m_result.error = error;
    }

    FolderWalk m_from;
    FolderTrail m_to;
    const std::optional<FolderIdentity> m_top;
    TreeCopy &m_result;
    bool m_isWhole = true;
};

// Removes what is in a folder.
bool emptyFolder(FileDescriptor folder, std::error_code &error) {
    FolderWalk walk(std::move(folder));
    for (;;) {
        const auto entry = walk.next(error);
        if (error)
            return false;
        if (!entry && walk.depth() == 0)
            return true;
        if (entry && entry->kind == FileKind::folder) {
            if (!walk.enter(error))
                return false;
        } else if (entry) {
            if (!removeEntry(walk.folder(), entry->name, error) && error)
                return false;
        } else if (!walk.leave(error) ||
                   ::unlinkat(walk.folder().get(), walk.current().name.c_str(), AT_REMOVEDIR) != 0) {
            error = error ? error : systemError();
            return false;
        }
    }
}

} // namespace

FileDescriptor openFolder(const fs::path &path, std::error_code &error) {
    error.clear();
    return opened(AT_FDCWD, path.c_str(), 0, error);
}

FileDescriptor openFolder(const FileDescriptor &parent, const std::string &name, std::error_code &error) {
    error.clear();
    return isEntryName(name, error) ? opened(parent.get(), name.c_str(), O_NOFOLLOW, error)
                                    : FileDescriptor();
}

FileDescriptor makeFolder(const FileDescriptor &parent, const std::string &name, std::error_code &error) {
    error.clear();
    if (!isEntryName(name, error) || (!makeNewFolder(parent, name, error) && error != std::errc::file_exists))
        return {};
    return openFolder(parent, name, error);
}

std::optional<FileKind> kindOf(const FileDescriptor &folder, const std::string &name,
                               std::error_code &error) {
    error.clear();
    if (!isEntryName(name, error))
        return std::nullopt;
    struct stat status {};
    if (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return kindOfMode(status.st_mode);
    if (errno != ENOENT)
        error = systemError();
    return std::nullopt;
}

std::vector<FolderEntry> entriesOf(const FileDescriptor &folder, std::error_code &error) {
    error.clear();
    std::vector<FolderEntry> entries;
    list(folder, error, [&](const char *name, FileKind kind) { entries.push_back({name, kind}); });
    if (error)
        entries.clear();
    return entries;
}

bool removeEntry(const FileDescriptor &folder, const std::string &name, std::error_code &error) {
    error.clear();
    if (!isEntryName(name, error))
        return false;
    if (::unlinkat(folder.get(), name.c_str(), 0) == 0)
        return true;
    if (errno != ENOENT)
        error = systemError();
    return false;
}

bool removeTree(const FileDescriptor &folder, const std::string &name, std::error_code &error) {
    const auto kind = kindOf(folder, name, error);
    if (kind != FileKind::folder)
        return kind && removeEntry(folder, name, error);
    FileDescriptor tree = openFolder(folder, name, error);
    if (!tree || !emptyFolder(std::move(tree), error))
        return false;
    if (::unlinkat(folder.get(), name.c_str(), AT_REMOVEDIR) != 0)
        error = systemError();
    return !error;
}

TreeCopy copyTree(const fs::path &source, const FileDescriptor &folder, const std::string &name) {
    TreeCopy result;
    const auto attributes = fileAttributes(source, result.error);
    if (!attributes || !isEntryName(name, result.error))
        return result;
    switch (attributes->kind) {
    case FileKind::regular:
        copyRegularFile(AT_FDCWD, source, folder.get(), name, result.error);
        break;
    case FileKind::folder: {
        FileDescriptor to;
        FileDescriptor from;
        if (makeNewFolder(folder, name, result.error))
            to = openFolder(folder, name, result.error);
        if (to)
            from = opened(AT_FDCWD, source.c_str(), O_NOFOLLOW, result.error);
        if (from)
            FolderCopy(std::move(from), std::move(to), result).run();
        break;
    }
    case FileKind::link:
        copyLink(AT_FDCWD, source.c_str(), folder, name, result.error);
        break;
    case FileKind::special:
        result.error = std::make_error_code(std::errc::operation_not_supported);
    }
    return result;
}

FolderTrail::FolderTrail(FileDescriptor top) {
    m_levels.push_back({std::move(top)});
}

bool FolderTrail::enter(const std::string &name, std::error_code &error) {
    constexpr std::size_t keptOpen = 8;
    FileDescriptor below = openFolder(folder(), name, error);
    if (!below)
        return false;
    m_levels.push_back({std::move(below)});
    if (m_levels.size() > keptOpen) {
        Level &level = m_levels[m_levels.size() - 1 - keptOpen];
        level.identity = identityOf(level.folder);
        level.folder = {};
    }
    return true;
}

bool FolderTrail::leave(std::error_code &error) {
    error.clear();
    const FileDescriptor left = std::move(m_levels.back().folder);
    m_levels.pop_back();
    Level &above = m_levels.back();
    if (above.folder)
        return true;
    above.folder = opened(left.get(), "..", 0, error);
    if (!error && identityOf(above.folder) != above.identity)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    return !error;
}

FolderWalk::FolderWalk(FileDescriptor top)
    : m_trail(std::move(top))
    , m_listings(1) {}

std::optional<FolderEntry> FolderWalk::next(std::error_code &error) {
    error.clear();
    Listing &listing = m_listings.back();
    if (!listing.isRead) {
        listing.isRead = true;
        list(folder(), error, [this](const char *name, FileKind kind) {
            m_entries += static_cast<char>(kind);
            m_entries.append(name).push_back('\0');
        });
        if (error)
            m_entries.resize(listing.begin);
    }
    if (listing.next == m_entries.size())
        return std::nullopt;
    listing.current = listing.next;
    listing.next = m_entries.find('\0', listing.next + 1) + 1;
    return current();
}

FolderEntry FolderWalk::current() const {
    return at(m_listings.back().current);
}

FolderEntry FolderWalk::at(std::size_t place) const {
    return {m_entries.c_str() + place + 1, static_cast<FileKind>(m_entries[place])};
}

bool FolderWalk::enter(std::error_code &error) {
    if (!m_trail.enter(current().name, error))
        return false;
    m_listings.push_back({.begin = m_entries.size(), .current = 0, .next = m_entries.size()});
    return true;
}

bool FolderWalk::leave(std::error_code &error) {
    if (!m_trail.leave(error))
        return false;
    m_entries.resize(m_listings.back().begin);
    m_listings.pop_back();
    return true;
}

fs::path FolderWalk::path() const {
    std::string path;
    for (std::size_t level = 0; level < depth(); ++level)
        path += (level == 0 ? "" : "/") + at(m_listings[level].current).name;
    return path;
}

} // namespace platform
