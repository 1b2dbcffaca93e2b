// A folder, an environment variable and a home folder for one test, and the reading and writing of small
// files.
#pragma once

#include <QByteArray>
#include <QTemporaryDir>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace test_support {

/// A folder that is empty at first, and removed with its object.
class ScratchFolder {
public:
    /// Throws std::runtime_error when it cannot be created.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

private:
    QTemporaryDir m_folder;
    std::filesystem::path m_path;
};

/// An environment variable set, or unset, as long as the object lives.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const std::optional<std::string> &value);
    ~ScopedEnvironment() { apply(m_before); }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    void apply(const std::optional<std::string> &value) const;

    std::string m_name;
    std::optional<std::string> m_before;
};

/// From now on neither this process nor what it starts sees the machine's language or its proxies.
void forgetTheMachinesSettings();

class ScratchHome {
public:
    /// The folder that HOME points at from now on; the XDG variables that could lead elsewhere are unset.
    const std::filesystem::path &path() const { return m_folder.path(); }
    /// The Library folder that the program will use in this home.
    std::filesystem::path library() const { return path() / ".local/share/Library"; }
    std::filesystem::path caches() const { return path() / ".cache"; }

private:
    ScratchFolder m_folder;
    ScopedEnvironment m_home{"HOME", m_folder.path().native()};
    ScopedEnvironment m_data{"XDG_DATA_HOME", std::nullopt};
    ScopedEnvironment m_cache{"XDG_CACHE_HOME", std::nullopt};
    ScopedEnvironment m_dataFolders{"XDG_DATA_DIRS", std::nullopt};
};

/// Writes a file and the folders above it. Throws std::runtime_error when it cannot.
void writeFile(const std::filesystem::path &path, const QByteArray &content);
/// Writes a program that may be started.
void writeProgram(const std::filesystem::path &path, const QByteArray &content);
/// A file's bytes; empty when it cannot be read.
QByteArray readFile(const std::filesystem::path &path);

} // namespace test_support
