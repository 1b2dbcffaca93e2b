#include "OutputFile.h"

#include "EscapedText.h"
#include "FolderWalk.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace spindump {

namespace {

std::string reason(const std::string &what) {
    return escaped(what) + ": " + std::strerror(errno);
}

// A name that nobody can have put there before.
std::string nameBeside() {
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number)
        number = static_cast<std::uint64_t>(::getpid());
    return ".spindump-" + std::to_string(number);
}

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = ::write(file, content.data(), content.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return ::fsync(file) == 0;
}

} // namespace

std::optional<OutputFile> OutputFile::prepare(const std::string &path, uid_t user, FolderOwner owner,
                                              std::string &error) {
    const std::size_t slash = path.rfind('/');
    const std::string folderPath = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    platform::FileDescriptor folder = openFolder(folderPath, user, error);
    if (!folder)
        return std::nullopt;
    struct stat status {};
    if (::fstat(folder.get(), &status) != 0) {
        error = reason(folderPath);
        return std::nullopt;
    }
    if (owner == FolderOwner::theUser && status.st_uid != user) {
        error = escaped(folderPath) + ": the folder belongs to another user";
        return std::nullopt;
    }
    OutputFile output(std::move(folder), path.substr(slash == std::string::npos ? 0 : slash + 1), user);
    if (output.look(error) == Place::taken)
        return std::nullopt;
    return output;
}

OutputFile::Place OutputFile::look(std::string &error) const {
    struct stat status {};
    if (::fstatat(m_folder.get(), m_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT)
            return Place::free;
        error = reason(m_name);
        return Place::taken;
    }
    if (S_ISREG(status.st_mode) && status.st_uid == m_user)
        return Place::plainFileOfUser;
    error = escaped(m_name) + (S_ISREG(status.st_mode) ? ": a file of another user stands there"
                                                       : ": what stands there is no plain file");
    return Place::taken;
}

bool OutputFile::moveIntoPlace(const std::string &beside, std::string &error) const {
    const int folder = m_folder.get();
    const Place place = look(error);
    if (place == Place::taken)
        return false;
    if (place == Place::plainFileOfUser) {
        if (::renameat(folder, beside.c_str(), folder, m_name.c_str()) == 0)
            return true;
    } else if (::linkat(folder, beside.c_str(), folder, m_name.c_str(), 0) == 0) {
        ::unlinkat(folder, beside.c_str(), 0);
        return true;
    } else if (::renameat2(folder, beside.c_str(), folder, m_name.c_str(), RENAME_NOREPLACE) == 0) {
        // Some file systems know no second names.
        return true;
    }
    error = reason(m_name);
    return false;
}

bool OutputFile::write(std::string_view content, std::string &error) const {
    const std::string beside = nameBeside();
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const platform::FileDescriptor file(::openat(m_folder.get(), beside.c_str(), flags, S_IRUSR | S_IWUSR));
    if (!file) {
        error = reason(m_name);
        return false;
    }
    const bool written = writeAll(file.get(), content);
    if (!written)
        error = reason(m_name);
    if (written && moveIntoPlace(beside, error))
        return true;
    ::unlinkat(m_folder.get(), beside.c_str(), 0);
    return false;
}

} // namespace spindump
