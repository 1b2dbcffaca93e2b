// The diagnostic log's file: appends whole lines, and creates the file when it is missing.
//
// Any thread may call these.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>

class LogFile {
public:
    /// Where lines go from now on.
    void setPath(const std::filesystem::path &path);
    std::optional<std::filesystem::path> path() const;

    /// Adds `line` in one write, and gives the error when that fails. Without a path it does nothing. A file
    /// that is missing, or was removed since the last line, is created.
    std::error_code append(const QByteArray &line);

    /// Moves the lines so far to the end of the file at `path`, and continues there; needs a path. On an
    /// error the log stays where it is, unless only the removal of the old file failed.
    std::error_code moveTo(const std::filesystem::path &path);

private:
    bool openForAppending();
    void continueAt(const std::filesystem::path &path);

    mutable std::mutex m_mutex;
    std::optional<std::filesystem::path> m_path;
    platform::FileDescriptor m_file;
    /// Whether the last line ends in the middle, because the disk was full.
    bool m_isLineOpen = false;
};
