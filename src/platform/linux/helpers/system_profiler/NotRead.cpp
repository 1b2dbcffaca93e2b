#include "platform/linux/helpers/system_profiler/NotRead.h"

#include "platform/posix/Text.h"

namespace system_profiler {

void NotRead::add(const std::filesystem::path &path, const QString &reason) {
    if (m_reasons.contains(path.native()))
        return;
    if (m_reasons.size() < limit)
        m_reasons.emplace(path.native(), reason);
    else
        ++m_furtherCount;
}

void NotRead::add(const std::filesystem::path &path, const std::error_code &error) {
    // The system's own words for these would not tell a reader what is wrong with the file.
    if (error == std::errc::invalid_argument)
        add(path, QStringLiteral("not a regular file"));
    else
        add(path, platform::description(error));
}

} // namespace system_profiler
