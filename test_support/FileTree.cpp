#include "test_support/FileTree.h"

#include "test_support/ScratchHome.h"

#include <QCryptographicHash>
#include <algorithm>
#include <iterator>
#include <sstream>
#include <sys/stat.h>

namespace test_support {

namespace fs = std::filesystem;

namespace {

std::string describe(const fs::path &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return "gone";
    std::ostringstream text;
    text << status.st_mode << ' ' << status.st_uid << ' ' << status.st_mtim.tv_sec << '.'
         << status.st_mtim.tv_nsec << ' ';
    if (S_ISLNK(status.st_mode))
        text << fs::read_symlink(path);
    if (S_ISREG(status.st_mode))
        text << status.st_size << ' '
             << QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha1).toHex().constData();
    return text.str();
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
    std::vector<std::pair<std::string, std::string>> entries;
    std::ranges::set_symmetric_difference(before, after, std::back_inserter(entries));
    std::vector<std::string> result;
    for (const auto &[path, description] : entries)
        result.push_back(path + ": " + description);
    return result;
}

} // namespace test_support
