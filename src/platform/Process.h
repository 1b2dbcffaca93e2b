// This process, and programs that it runs.
#pragma once

#include <QStringList>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// Makes the process safe to work in, whatever started it: files are the user's alone, a closed connection
/// or a closed standard stream does no harm, children can be waited for. First thing in `main`.
void prepareProcess();

/// This process's executable path: the first argument, or the real path of the executable when the first
/// argument is not absolute.
std::filesystem::path executablePath(const QStringList &arguments);

/// A program to run. Arguments and variables are bytes, as the names on disk are that they may hold.
struct Program {
    /// Absolute.
    std::filesystem::path path;
    std::vector<std::string> arguments;
    /// Empty for this process's own.
    std::filesystem::path workingFolder;
    /// Set for the child on top of this process's own variables.
    std::vector<std::pair<std::string, std::string>> variables;
};

/// Runs a program to its end, with no input and its output discarded, and gives its exit status; none when
/// it could not be started or was killed. The child dies with the thread that runs it. Blocks; any thread.
std::optional<int> runProgram(const Program &program);

} // namespace platform
