// Programs that this process runs.
//
// A program is named by its absolute path, has no input, and dies with the thread that runs it. Blocks; any
// thread.
#pragma once

#include <QByteArray>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {

/// A program to run. Arguments and variables are bytes, as the names on disk are that they may hold.
struct Program {
    /// Absolute.
    std::filesystem::path path;
    std::vector<std::string> arguments;
    /// Empty for this process's own.
    std::filesystem::path workingFolder;
    /// Set for the child on top of this process's own variables.
    std::vector<std::pair<std::string, std::string>> variables;
    /// Where its output goes: a file made anew, the user's alone, in the place of any plain file that stands
    /// there; what else stands there is left, and the program not started. Empty: the output is discarded.
    std::filesystem::path standardOutput = {};
};

/// What came of a program. With neither a status, a signal nor an error, `stopPrograms` ended the run.
struct ProgramOutcome {
    std::optional<int> exitStatus;
    /// The signal that killed it, or 0.
    int signal = 0;
    /// Why it was not started, and the file or program that the reason is about.
    std::error_code startError;
    std::filesystem::path startErrorPath;
    /// The beginning of what it wrote to its standard error; the rest is read and dropped.
    QByteArray errorOutput;
};

constexpr qsizetype errorOutputLimitBytes = 4096;

/// Runs a program to its end. What it leaves running in the background is not waited for.
ProgramOutcome outcomeOf(const Program &program);

/// The same for those who want the exit status alone: none when the program could not be started, was killed
/// or stopped. Without `errorOutput` its standard error is discarded.
std::optional<int> runProgram(const Program &program, QByteArray *errorOutput = nullptr);

/// For the end of the process: kills every program that runs, so that whoever waits for one goes on within
/// moments, and lets no other start. One that has become another user's cannot be killed and is left alone.
/// Any thread, and signal handlers once `programsAreStopped` was called.
void stopPrograms();
/// Whether `stopPrograms` was called: the process is about to end. Any thread.
bool programsAreStopped();

} // namespace platform
