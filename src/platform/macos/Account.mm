#include "platform/Account.h"

#include "platform/macos/Owned.h"

namespace platform {

namespace {

std::vector<std::filesystem::path> userFolders(NSSearchPathDirectory kind) {
    @autoreleasepool {
        std::vector<std::filesystem::path> folders;
        for (NSURL *url in [[NSFileManager defaultManager] URLsForDirectory:kind inDomains:NSUserDomainMask])
            folders.push_back(pathOf(url));
        return folders;
    }
}

} // namespace

std::vector<std::filesystem::path> userLibraryFolders() {
    return userFolders(NSLibraryDirectory);
}

std::vector<std::filesystem::path> userCachesFolders() {
    return userFolders(NSCachesDirectory);
}

} // namespace platform
