#include "Report.h"

#include <gmock/gmock.h>

namespace spindump {

namespace {

using testing::HasSubstr;

using Threads = std::map<pid_t, ThreadRecord>;

constexpr int noFolder = -1;

std::string reportWith(const Threads &threads, const ReadStacks &stacks) {
    return reportText({.date = {}, .processId = 1, .before = {}, .threads = &threads, .stacks = stacks});
}

TEST(Report, SaysWhetherSomeCallTreesAreThere) {
    Threads threads;
    threads.try_emplace(7, noFolder, 7).first->second.samples = 1;
    ReadStacks stacks{.trees = {}, .bundle = {}, .libraries = {}, .failure = "the reader failed"};
    EXPECT_THAT(reportWith(threads, stacks), HasSubstr("no call trees: the reader failed\n"));
    stacks.trees.emplace(7, "   1  main\n");
    const std::string report = reportWith(threads, stacks);
    EXPECT_THAT(report, HasSubstr(" call trees are missing: the reader failed\n"));
    EXPECT_THAT(report, HasSubstr("   1  main\n"));
}

TEST(Report, SaysWhyAThreadHasNoSample) {
    Threads threads;
    ThreadRecord &thread = threads.try_emplace(7, noFolder, 7).first->second;
    EXPECT_THAT(reportWith(threads, {}), HasSubstr("no sample: the system did not let the thread stop\n"));
    thread.whyNoSample = "another reason";
    EXPECT_THAT(reportWith(threads, {}), HasSubstr("no sample: another reason\n"));
}

} // namespace

} // namespace spindump
