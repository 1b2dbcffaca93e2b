#include "platform/linux/helpers/system_profiler/Arguments.h"

#include <gtest/gtest.h>

namespace system_profiler {

namespace {

TEST(Arguments, AskForTheApplicationsInOneWayOnly) {
    EXPECT_TRUE(askForApplications({"-detailLevel", "full", "SPApplicationsDataType"}));
    const std::vector<std::vector<std::string_view>> others = {
        {},
        {"-detailLevel", "full"},
        {"SPApplicationsDataType"},
        {"-detailLevel", "mini", "SPApplicationsDataType"},
        {"-detaillevel", "full", "SPApplicationsDataType"},
        {"-detailLevel", "full", "SPHardwareDataType"},
        {"SPApplicationsDataType", "-detailLevel", "full"},
        {"-detailLevel", "full", "SPApplicationsDataType", ""},
        {"-detailLevel", "full", "SPApplicationsDataType", "SPApplicationsDataType"},
    };
    for (const auto &arguments : others)
        EXPECT_FALSE(askForApplications(arguments));
}

} // namespace

} // namespace system_profiler
