#include "FolderWalk.h"

#include "EscapedText.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

namespace spindump {

namespace {

using platform::FileDescriptor;

std::deque<std::string> componentsOf(const std::string &path) {
    std::deque<std::string> result;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin)
            result.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

FileDescriptor openStart(const std::string &path) {
    return FileDescriptor(::open(path.starts_with('/') ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// What the link in `descriptor` points at, unless a stranger made it.
std::optional<std::string> followed(int descriptor, const struct stat &status, uid_t user) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlinkat(descriptor, "", target.data(), target.size());
    const bool ours = status.st_uid == 0 || status.st_uid == user;
    if (length <= 0 || static_cast<std::size_t>(length) == target.size() || !ours)
        return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(length));
}

FileDescriptor walk(const std::string &path, uid_t user) {
    constexpr int mostLinks = 40;
    FileDescriptor folder = openStart(path);
    auto remaining = componentsOf(path);
    for (int links = 0; folder && !remaining.empty();) {
        const std::string name = remaining.front();
        remaining.pop_front();
        FileDescriptor next(::openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat status {};
        if (!next || ::fstat(next.get(), &status) != 0)
            return {};
        if (S_ISLNK(status.st_mode)) {
            const auto target = ++links > mostLinks ? std::nullopt : followed(next.get(), status, user);
            if (!target) {
                errno = ELOOP;
                return {};
            }
            const auto inserted = componentsOf(*target);
            remaining.insert(remaining.begin(), inserted.begin(), inserted.end());
            if (target->starts_with('/'))
                folder = openStart(*target);
        } else if (S_ISDIR(status.st_mode)) {
            folder = std::move(next);
        } else {
            errno = ENOTDIR;
            return {};
        }
    }
    return folder;
}

} // namespace

FileDescriptor openFolder(const std::string &path, uid_t user, std::string &error) {
    FileDescriptor found = walk(path, user);
    if (!found)
        error = escaped(path) + ": " + std::strerror(errno);
    return found;
}

} // namespace spindump
