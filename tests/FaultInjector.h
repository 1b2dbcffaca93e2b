// Makes one system call of a program fail, once, from outside: the program is traced, and nothing is loaded
// into it or replaced in it.
//
// Linux on x86-64. One thread, which starts the program and is its tracer.
#pragma once

#include "test_support/ProgramRun.h"

#include <map>

namespace faults {

/// One call: the `ordinal`th (from 0) of its kind, over all threads of the program, that uses a socket or an
/// entry below one of the folders; and how it fails.
struct Point {
    std::string call;
    int ordinal = 0;
    int error = 0;

    std::string text() const;
};

/// How one run went.
struct Run {
    /// None when the program still ran when its time was up, or when it was given up.
    std::optional<int> end;
    bool isOverdue = false;
    /// The call came, and failed.
    bool isInjected = false;
    /// What the call was about: a path or "socket".
    std::string object;
    std::string standardOutput;
    std::string standardError;
    /// How many calls of each kind there were; only without a point.
    std::map<std::string, int> calls;
};

/// The points that this run had, each error that fits the call by itself.
std::vector<Point> pointsOf(const Run &run);

/// Runs the program with the point's call failing, or with none. Calls `isGivenUp` on another thread now and
/// then; once it is true, or `limit` has passed, the program is killed. The program's children run freely.
Run run(const test_support::ProgramOptions &program, const std::vector<std::filesystem::path> &folders,
        const std::optional<Point> &point, std::chrono::milliseconds limit,
        const std::function<bool()> &isGivenUp);

} // namespace faults
