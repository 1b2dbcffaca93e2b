// Prints, besides the usual table, the ratio of each operation to its yardstick: the benchmark of the same
// name with
// "/bare" behind it, measured in turn with it in the same run.
#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

private:
    /// Median real time and items per second, by name.
    std::map<std::string, double> m_medians;
    std::map<std::string, double> m_rates;
};
