#include "test_support/FileTree.h"

#include <sys/stat.h>

namespace test_support {

namespace fs = std::filesystem;

FileTree treeOf(const fs::path &folder, const fs::path &except) {
    FileTree result;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied);
    for (const fs::recursive_directory_iterator end; entry != end; ++entry) {
        struct stat now {};
        if (entry->path() == except)
            entry.disable_recursion_pending();
        else if (::lstat(entry->path().c_str(), &now) == 0)
            result[entry->path().lexically_relative(folder).native()] = {
                now.st_mode,         now.st_uid,         now.st_size,        now.st_mtim.tv_sec,
                now.st_mtim.tv_nsec, now.st_ctim.tv_sec, now.st_ctim.tv_nsec};
    }
    return result;
}

} // namespace test_support
