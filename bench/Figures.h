// The skeleton of every measurement: things measured in turn, their medians, and the conditions under which
// the figures count.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

constexpr double mebibyte = 1'048'576;

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
    for (int turn = 0; turn <= turns; ++turn) {
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

/// Prints a row: the figure and, where there is a bar, whether it is met.
inline void print(const std::string &what, double figure, const char *unit, double bar = 0) {
    std::printf("%s: %.2f %s", what.c_str(), figure, unit);
    if (bar > 0)
        std::printf(" (bar %g: %s)", bar, figure <= bar ? "met" : "MISSED");
    std::printf("\n");
    std::fflush(stdout);
}

/// Ends the program with `what` on standard error and status 1 unless `condition` holds.
inline void require(bool condition, const std::string &what) {
    if (condition)
        return;
    std::cerr << "bench: " << what << '\n';
    std::exit(1);
}
