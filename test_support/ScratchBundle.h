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
    std::filesystem::path executable() const { return m_path / "Contents/Linux" / m_path.stem(); }

    /// Replaces a value of the bundle's Info.plist, which must be there, by this one in XML; by nothing: with
    /// its key.
    void setValue(const std::string &key, const std::string &value) const;
    void setText(const std::string &key, const std::string &text) const {
        setValue(key, "<string>" + text + "</string>");
    }
    void removeText(const std::string &key) const { setValue(key, ""); }

private:
    std::filesystem::path m_path;
};

} // namespace test_support
