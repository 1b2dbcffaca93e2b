// Reads files and folders that anybody may have written: never held up by a pipe or a device, bounded in
// number and bytes for the whole report, and with a note of whatever was not read.
//
// Used by one thread.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace system_profiler {

/// No honest machine comes near these. Entries and bytes are counted over all folders and files.
struct ReaderLimits {
    std::size_t folderEntries = 100'000;
    std::size_t fileBytes = std::size_t{1} << 20;
    std::size_t totalBytes = std::size_t{96} << 20;
};

class Reader {
public:
    explicit Reader(const ReaderLimits &limits = {})
        : m_limits(limits) {}

    /// The entries of a folder in the order of their names' bytes; none when there is no such folder, which
    /// is not noted.
    std::vector<std::filesystem::path> entriesOf(const std::filesystem::path &folder);

    /// The content of a regular file; none when it cannot be read.
    std::optional<QByteArray> read(const std::filesystem::path &file);

    /// What a program is by its first bytes: the architecture in an ELF header, or a script and its
    /// interpreter. Empty for any other file, and for none, which is not noted.
    QString kindOf(const std::filesystem::path &program);

    /// Notes why a path was not read; the first reason for a path counts.
    void note(const std::filesystem::path &path, const QString &reason);
    void note(const std::filesystem::path &path, const std::error_code &error);

    /// The reasons by path, in the order of the paths' bytes.
    const std::map<std::string, QString> &notRead() const { return m_notRead; }

private:
    ReaderLimits m_limits;
    std::size_t m_folderEntries = 0;
    std::size_t m_bytes = 0;
    std::map<std::string, QString> m_notRead;
};

/// When a file or folder, or what a link leads to, was last modified, in UTC; invalid when there is none.
QDateTime modificationTime(const std::filesystem::path &path);

/// Whether the error says that there is no such file.
bool isAbsence(const std::error_code &error);

} // namespace system_profiler
