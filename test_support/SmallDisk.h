// Mounts of the test's own, gone with the scope. They need the namespaces of Isolation.h.
#pragma once

#include <filesystem>
#include <string>
#include <sys/mount.h>

namespace test_support {

class ScopedMount {
public:
    ScopedMount(const ScopedMount &) = delete;
    ScopedMount &operator=(const ScopedMount &) = delete;
    ~ScopedMount() {
        if (m_isMounted)
            ::umount2(m_place.c_str(), MNT_DETACH);
    }

    bool isMounted() const { return m_isMounted; }
    const std::filesystem::path &path() const { return m_place; }

protected:
    ScopedMount(std::filesystem::path place, int result)
        : m_place(std::move(place))
        , m_isMounted(result == 0) {}

private:
    std::filesystem::path m_place;
    bool m_isMounted;
};

/// A file system in memory over `folder`, which is made, with room for `kibibytes`.
class SmallDisk : public ScopedMount {
public:
    SmallDisk(const std::filesystem::path &folder, int kibibytes)
        : ScopedMount(folder, mountAt(folder, kibibytes)) {}

private:
    static int mountAt(const std::filesystem::path &folder, int kibibytes) {
        std::filesystem::create_directories(folder);
        const std::string options = "mode=700,size=" + std::to_string(kibibytes) + "k";
        return ::mount("small", folder.c_str(), "tmpfs", 0, options.c_str());
    }
};

/// One file or folder in the place of another.
class InPlaceOf : public ScopedMount {
public:
    InPlaceOf(const std::filesystem::path &place, const std::filesystem::path &what)
        : ScopedMount(place, ::mount(what.c_str(), place.c_str(), nullptr, MS_BIND, nullptr)) {}
};

} // namespace test_support
