#include "test_support/Mounts.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mount.h>

namespace test_support {

namespace {

void mountOrAbort(const char *source, const std::filesystem::path &target, const char *type,
                  unsigned long flags, const char *data = nullptr) {
    if (::mount(source, target.c_str(), type, flags, data) == 0)
        return;
    std::perror(("Cannot mount on " + target.native()).c_str());
    std::abort();
}

} // namespace

Mount Mount::memory(const std::filesystem::path &folder, std::uint64_t bytes) {
    mountOrAbort("none", folder, "tmpfs", 0, ("mode=700,size=" + std::to_string(bytes)).c_str());
    return Mount(folder);
}

Mount Mount::readOnly(const std::filesystem::path &folder) {
    mountOrAbort(folder.c_str(), folder, nullptr, MS_BIND);
    mountOrAbort("none", folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY);
    return Mount(folder);
}

Mount Mount::over(const std::filesystem::path &source, const std::filesystem::path &target) {
    mountOrAbort(source.c_str(), target, nullptr, MS_BIND);
    return Mount(target);
}

Mount::~Mount() {
    ::umount2(m_target.c_str(), MNT_DETACH);
}

} // namespace test_support
