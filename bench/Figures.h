// The skeleton of every measurement: programs run to their end, things measured in turn, their medians, and
// the rows that are printed.
#pragma once

#include "test_support/ProgramRun.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

constexpr double mebibyte = 1'048'576;

/// Ends the program with `what` on standard error and status 1 unless `condition` holds.
inline void require(bool condition, const std::string &what) {
    if (condition)
        return;
    std::cerr << "bench: " << what << '\n';
    std::exit(1);
}

/// Prints a row: the figure and, where there is a bar, whether it is met.
inline void print(const std::string &what, double figure, const char *unit, double bar = 0) {
    std::printf("%s: %.2f %s", what.c_str(), figure, unit);
    if (bar > 0)
        std::printf(" (bar %g: %s)", bar, figure <= bar ? "met" : "MISSED");
    std::printf("\n");
    std::fflush(stdout);
}

/// Whether the measurements are only tried, which gives no figures: the variable QUICK asks for that.
inline bool isQuick() {
    return std::getenv("QUICK") != nullptr;
}

/// `full`, or a hundredth of it and at least one when they are only tried.
inline int amount(int full) {
    return isQuick() ? std::max(1, full / 100) : full;
}

/// How long `work` takes, in seconds.
template <typename Work>
double secondsOf(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The upper median; `values` must not be empty.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// Measures each of these in turn, so that whatever else the machine does meets all of them alike: one turn
/// that does not count, then `turns` that do. Gives the figures of each.
inline std::vector<std::vector<double>> inTurn(int turns,
                                               const std::vector<std::function<double()>> &measurements) {
    std::vector<std::vector<double>> figures(measurements.size());
    for (int turn = isQuick() ? 1 : 0; turn <= amount(turns); ++turn) {
        for (std::size_t i = 0; i < measurements.size(); ++i) {
            const double figure = measurements[i]();
            if (turn > 0)
                figures[i].push_back(figure);
        }
    }
    return figures;
}

/// The median of what each turn's first figure is to its second.
inline double medianRatio(const std::vector<std::vector<double>> &figures) {
    std::vector<double> ratios;
    for (std::size_t turn = 0; turn < figures[0].size(); ++turn)
        ratios.push_back(figures[0][turn] / figures[1][turn]);
    return median(ratios);
}

/// The largest resident set of a running process so far, in MiB; 0 when there is no such process.
inline double peakMemory(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stod(line.substr(6)) * 1024 / mebibyte;
    }
    return 0;
}

/// Runs the program to its end, which must be a success, and gives its peak memory in MiB; looks at that this
/// often.
inline double runProgram(const test_support::ProgramOptions &program,
                         std::chrono::milliseconds interval = std::chrono::milliseconds(2)) {
    test_support::ProgramRun run(program);
    // The last high-water mark of the program's own memory. The first ones, and what the system reports at
    // the end, begin with the memory of this process, from which the program was forked.
    double peak = 0;
    while (run.isRunning()) {
        if (const double mark = peakMemory(run.processId()); mark > 0)
            peak = mark;
        std::this_thread::sleep_for(interval);
    }
    require(run.waitForEnd() == test_support::exited(0), program.program.native() + " failed");
    return peak;
}
