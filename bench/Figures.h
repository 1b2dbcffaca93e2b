// What the measurements share: figures and the conditions under which they count.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

constexpr double mebibyte = 1'048'576;

/// The upper median; `values` must not be empty.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// Ends the program with `what` on standard error and status 1 unless `condition` holds.
inline void require(bool condition, const std::string &what) {
    if (condition)
        return;
    std::cerr << "bench: " << what << '\n';
    std::exit(1);
}
