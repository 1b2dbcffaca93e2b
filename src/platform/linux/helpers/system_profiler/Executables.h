// What an executable file is, read from its first bytes: the architecture that an ELF header names, or the
// interpreter of a script.
#pragma once

#include <QByteArray>
#include <QString>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>

namespace system_profiler {

/// What the report calls a file that begins with these bytes; empty when they tell nothing. `problem` is set
/// when the bytes begin like an ELF file and break off, or contradict themselves.
QString kindOf(const QByteArray &beginning, QString &problem);

struct Executable {
    /// Empty when the file does not tell.
    QString kind;
    std::optional<std::chrono::sys_seconds> modified;
    /// Why the kind could not be read; empty otherwise.
    QString problem;
    std::error_code error;
};

/// What stands at `path`, behind links. Reads the beginning of regular files only.
Executable describeExecutable(const std::filesystem::path &path);

/// When what stands at `path`, behind links, was last modified.
std::optional<std::chrono::sys_seconds> modificationTime(const std::filesystem::path &path);

} // namespace system_profiler
