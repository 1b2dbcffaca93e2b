// A folder for one test, empty at first and removed afterwards, and the reading and writing of small files.
#pragma once

#include <QByteArray>
#include <filesystem>

namespace test_support {

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

/// Writes a file and the folders above it. Throws std::runtime_error when it cannot.
void writeFile(const std::filesystem::path &path, const QByteArray &content);
/// A file's bytes; empty when it cannot be read.
QByteArray readFile(const std::filesystem::path &path);

} // namespace test_support
