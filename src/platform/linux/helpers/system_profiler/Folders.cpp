#include "platform/linux/helpers/system_profiler/Folders.h"

#include <algorithm>

namespace system_profiler {

namespace fs = std::filesystem;

bool isAbsence(const std::error_code &error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

std::vector<fs::path> entriesOf(const fs::path &folder, NotRead &notRead, std::size_t limit) {
    std::vector<fs::path> result;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (result.size() == limit) {
            notRead.add(folder, QStringLiteral("holds more than %1 entries").arg(limit));
            break;
        }
        result.push_back(entry->path());
    }
    if (error && !isAbsence(error))
        notRead.add(folder, error);
    std::sort(result.begin(), result.end(),
              [](const fs::path &left, const fs::path &right) { return left.native() < right.native(); });
    return result;
}

fs::path resolved(const fs::path &path) {
    std::error_code error;
    const fs::path result = fs::canonical(path, error);
    return error ? path : result;
}

} // namespace system_profiler
