// A folder of the test's own, empty and gone afterwards.
#pragma once

#include <filesystem>

namespace test_support {

/// A folder that removes itself.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace test_support
