// The file of the log, which others may move, remove or replace at any time.
//
// Any thread. Lines are appended whole, so those of concurrent callers never mix.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <QStringList>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <list>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <thread>

/// On standard output; dropped when that is a pipe that nobody reads, since a write would wait.
void reportTrouble(const char *failure, const std::error_code &error);

class LogFile {
public:
    /// Lines go to this file from now on. `homes` are the names that are masked in them.
    void setPath(const std::filesystem::path &path, const QStringList &homes);
    QStringList homes() const;
    std::optional<std::filesystem::path> path() const;

    /// As `Logger::spareThisThread`.
    void spareThisThread();

    /// Appends a line, and what waits before it. The line of the spared thread waits itself.
    void append(const QByteArray &line);

    /// Writes what waits, in one write. Without a path it is lost. A file that is missing is created; trouble
    /// is reported.
    void writeWaiting();

    /// Leaves it to the thread that `spareThisThread` has started to write what waits. Gives up after
    /// `limit`.
    void waitUntilWritten(std::chrono::milliseconds limit);

    /// Moves the lines so far to the end of the file at `path`, and continues there; needs a path. On an
    /// error the log stays where it is, unless only the removal of the old file failed.
    std::error_code moveTo(const std::filesystem::path &path);

private:
    std::error_code write(const QByteArray &lines);
    void continueAt(const std::filesystem::path &path);
    bool openForAppending();
    bool isAtItsPath();

    // Of the file; held while the disk is waited for.
    mutable std::mutex m_mutex;
    std::optional<std::filesystem::path> m_path;
    platform::FileDescriptor m_file;
    struct stat m_opened {};
    std::chrono::steady_clock::time_point m_lastLook;
    // Whether the last line ends in the middle, because the disk was full.
    bool m_isLineOpen = false;

    // Of the rest; taken after the other one. Whoever holds it needs no memory: a fatal end for want of that
    // takes it, too.
    mutable std::mutex m_waitingMutex;
    std::condition_variable m_changed;
    std::list<QByteArray> m_waiting;
    bool m_isWriting = false;
    QStringList m_homes;
    std::atomic<std::thread::id> m_spared;
};
