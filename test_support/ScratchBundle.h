// A copy of the program's bundle that a test may alter: the program under test is the one that ships, only
// what its bundle says of it differs.
#pragma once

#include <filesystem>
#include <string>

namespace test_support {

class ScratchBundle {
public:
    /// Copies the bundle `shipped` into `folder`, under its own name.
    ScratchBundle(const std::filesystem::path &shipped, const std::filesystem::path &folder);

    const std::filesystem::path &path() const { return m_path; }
    std::filesystem::path executable() const;
    std::filesystem::path info() const;

    /// Gives a text of the bundle's Info.plist another value. The key must be there.
    void setText(const std::string &key, const std::string &value) const;
    /// Removes a text of the bundle's Info.plist.
    void removeText(const std::string &key) const;

private:
    void replaceText(const std::string &key, const std::string &replacement) const;

    std::filesystem::path m_path;
};

} // namespace test_support
