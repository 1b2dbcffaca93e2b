#include "test_support/FileTree.h"

#include "test_support/ScratchHome.h"

#include <QCryptographicHash>
#include <sys/stat.h>

namespace test_support {

namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path &path, mode_t mode) {
    if (S_ISLNK(mode))
        return fs::read_symlink(path).native();
    if (!S_ISREG(mode))
        return {};
    return QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha1).toHex().toStdString();
}

std::string describe(const fs::path &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return "gone";
    const std::string size = S_ISDIR(status.st_mode) ? "" : std::to_string(status.st_size);
    return std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + " " + size + " " +
           std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) + " " +
           contentOf(path, status.st_mode);
}

} // namespace

std::map<std::string, std::string> treeOf(const fs::path &folder, const fs::path &except) {
    std::map<std::string, std::string> result;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied);
    for (const fs::recursive_directory_iterator end; entry != end; ++entry) {
        if (entry->path() == except)
            entry.disable_recursion_pending();
        else
            result[entry->path().lexically_relative(folder).native()] = describe(entry->path());
    }
    return result;
}

std::vector<std::string> differences(const std::map<std::string, std::string> &before,
                                     const std::map<std::string, std::string> &after) {
    std::vector<std::string> result;
    const auto note = [&](const char *what, const std::string &path, const std::string &description) {
        std::string line = what;
        line.append(path).append(": ").append(description);
        result.push_back(std::move(line));
    };
    for (const auto &[path, description] : before) {
        const auto found = after.find(path);
        if (found == after.end())
            note("gone: ", path, description);
        else if (found->second != description)
            note("changed: ", path, description + " -> " + found->second);
    }
    for (const auto &[path, description] : after) {
        if (!before.contains(path))
            note("new: ", path, description);
    }
    return result;
}

std::vector<std::string> openToOthers(const fs::path &folder) {
    std::vector<std::string> result;
    const auto check = [&](const fs::path &path) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode) &&
            (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
            result.push_back(path.native());
    };
    check(folder);
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    for (const fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error))
        check(entry->path());
    return result;
}

} // namespace test_support
