// Running other programs.
//
// A program is named by its absolute path, has no input, and dies with the thread that runs it. Any thread;
// running one blocks it.
#pragma once

#include <QByteArray>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {

/// A program to run. Arguments and variables are bytes, since they may hold names on disk.
struct Program {
    /// Absolute.
    std::filesystem::path path;
    std::vector<std::string> arguments = {};
    /// Empty for this process's own.
    std::filesystem::path workingFolder = {};
    /// Set for the child on top of this process's own variables.
    std::vector<std::pair<std::string, std::string>> variables = {};
    /// Where its output goes: a new file, the user's alone, which replaces a plain file of that name; where
    /// there is anything else, the program is not started. Empty: the output is discarded.
    std::filesystem::path standardOutput = {};
    /// How much of the output is kept in memory instead; the rest is read and dropped.
    qsizetype keptOutputBytes = 0;
    /// The program is killed when it has not ended by then. None: no limit.
    std::optional<std::chrono::milliseconds> timeLimit = {};
    /// The same once this turns true. Null: it never does.
    const std::atomic<bool> *cancelled = nullptr;
};

/// How a program ended. With neither a status, a signal nor an error, its time limit, `cancelled` or
/// `stopPrograms` cut it short.
struct ProgramOutcome {
    std::optional<int> exitStatus;
    /// The signal that killed it, or 0.
    int signal = 0;
    /// Why it was not started, and the file or program that the reason is about.
    std::error_code startError;
    std::filesystem::path startErrorPath;
    /// The beginning of what it wrote to its standard error; the rest is read and dropped.
    QByteArray errorOutput;
    /// The beginning of its output, as `Program::keptOutputBytes` asks for.
    QByteArray output;
};

constexpr qsizetype errorOutputLimitBytes = 4096;

/// Runs a program to its end. What it leaves running in the background is not waited for.
ProgramOutcome outcomeOf(const Program &program);

/// The same for callers that need the exit status alone: none when the program could not be started, was
/// killed or cut short. Its standard error is discarded.
std::optional<int> runProgram(const Program &program);

/// For the end of the process: kills every running program but those that have become another user's, so that
/// no thread waits for one, and lets none start. Also for signal handlers, once `programsAreStopped` was
/// called.
void stopPrograms();
/// Whether `stopPrograms` was called: the process is about to end.
bool programsAreStopped();

} // namespace platform
