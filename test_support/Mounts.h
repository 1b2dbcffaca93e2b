// File systems that a test mounts where it needs a full disk, a read-only folder, or a file that is not
// there.
//
// Only with `hasOwnNamespaces()`: the mounts are then nobody's business but the test's. Unmounted at the end
// of the object's life.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace test_support {

class Mount {
public:
    /// An empty file system in memory that holds so many bytes.
    static Mount memory(const std::filesystem::path &folder, std::uint64_t bytes);
    /// `folder` itself, without its entries being writable.
    static Mount readOnly(const std::filesystem::path &folder);
    /// `source`, a file or a folder, in the place of `target`, of the same kind.
    static Mount over(const std::filesystem::path &source, const std::filesystem::path &target);

    ~Mount();
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

private:
    explicit Mount(std::filesystem::path target)
        : m_target(std::move(target)) {}

    std::filesystem::path m_target;
};

} // namespace test_support
