#include "RatioReporter.h"

#include <cstdio>

void RatioReporter::ReportRuns(const std::vector<Run> &runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
        if (run.aggregate_name != "median")
            continue;
        m_medians[run.run_name.function_name] = run.GetAdjustedRealTime();
        const auto rate = run.counters.find("items_per_second");
        if (rate != run.counters.end())
            m_rates[run.run_name.function_name] = rate->second;
    }
}

void RatioReporter::Finalize() {
    const std::string bare = "/bare";
    std::printf("\n");
    for (const auto &[name, median] : m_medians) {
        if (const auto yardstick = m_medians.find(name + bare); yardstick != m_medians.end())
            std::printf("%s: %.2f times the bare operation\n", name.c_str(), median / yardstick->second);
        else if (const auto rate = m_rates.find(name); rate != m_rates.end() && !name.ends_with(bare))
            std::printf("%s: %.0f a second\n", name.c_str(), rate->second);
    }
}
