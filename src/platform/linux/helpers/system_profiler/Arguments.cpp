#include "platform/linux/helpers/system_profiler/Arguments.h"

namespace system_profiler {

bool askForApplications(const std::vector<std::string_view> &arguments) {
    return arguments == std::vector<std::string_view>{"-detailLevel", "full", "SPApplicationsDataType"};
}

} // namespace system_profiler
