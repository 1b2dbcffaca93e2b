// The file behind the diagnostic log: appends whole lines, makes the file when it is not there.
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

    /// Adds `line` in one write. Without a path it does nothing. A file that is missing, or was removed since
    /// the last line, is made anew; an error of that is returned.
    std::error_code append(const QByteArray &line);

    /// Moves the lines so far to `path`, behind what stands there, and goes on there. On an error the lines
    /// stay where they are and so does the log, unless only the removal of the old file failed.
    std::error_code moveTo(const std::filesystem::path &path);

private:
    bool openForAppending();
    void goOnAt(const std::filesystem::path &path);

    mutable std::mutex m_mutex;
    std::optional<std::filesystem::path> m_path;
    platform::FileDescriptor m_file;
    /// Whether the disk was full in the middle of the last line.
    bool m_isLineOpen = false;
};
