#include "ProcFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace spindump {

namespace {

std::string notReadable() {
    return std::string("not readable (") + std::strerror(errno) + ")";
}

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> result;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
        if (end > begin)
            result.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

unsigned long number(std::string_view text) {
    unsigned long value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

} // namespace

platform::FileDescriptor openIn(int folder, const std::string &name, int flags) {
    return platform::FileDescriptor(::openat(folder, name.c_str(), flags | O_CLOEXEC));
}

Reading<std::string> contentOf(int file, std::size_t limitBytes) {
    std::string content;
    std::array<char, 4096> part{};
    while (content.size() < limitBytes) {
        const std::size_t wanted = std::min(part.size(), limitBytes - content.size());
        const ssize_t count = ::pread(file, part.data(), wanted, static_cast<off_t>(content.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return {std::nullopt, notReadable()};
        if (count == 0)
            break;
        content.append(part.data(), static_cast<std::size_t>(count));
    }
    return {std::move(content), {}};
}

Reading<std::string> contentIn(int folder, const std::string &name, std::size_t limitBytes) {
    const auto file = openIn(folder, name, O_RDONLY);
    if (!file)
        return {std::nullopt, notReadable()};
    return contentOf(file.get(), limitBytes);
}

Reading<std::string> linkIn(int folder, const std::string &name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
    if (length < 0)
        return {std::nullopt, notReadable()};
    return {std::string(target.data(), static_cast<std::size_t>(length)), {}};
}

// The name stands in parentheses and may hold any character, parentheses and blanks as well.
std::optional<ProcStat> parseStat(std::string_view text) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    // Numbered as in proc(5), whose third field is the first one behind the name.
    const auto fields = words(text.substr(close + 1));
    const auto field = [&](std::size_t index) { return number(fields[index - 3]); };
    if (fields.size() < 47 || fields[0].size() != 1)
        return std::nullopt;
    ProcStat stat;
    stat.name = text.substr(open + 1, close - open - 1);
    stat.state = fields[0][0];
    stat.parent = static_cast<pid_t>(field(4));
    stat.userTicks = field(14);
    stat.systemTicks = field(15);
    stat.threads = field(20);
    stat.startTicks = field(22);
    stat.argumentsBegin = field(48);
    stat.argumentsEnd = field(49);
    return stat;
}

std::optional<std::string> statusField(std::string_view text, std::string_view name) {
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string_view line = text.substr(begin, end - begin);
        begin = end + 1;
        if (!line.starts_with(name) || line.size() == name.size() || line[name.size()] != ':')
            continue;
        line.remove_prefix(name.size() + 1);
        const std::size_t first = line.find_first_not_of(" \t");
        const std::size_t last = line.find_last_not_of(" \t");
        return first == std::string_view::npos ? std::string()
                                               : std::string(line.substr(first, last - first + 1));
    }
    return std::nullopt;
}

std::chrono::duration<double> ticks(unsigned long count) {
    return std::chrono::duration<double>(static_cast<double>(count) /
                                         static_cast<double>(::sysconf(_SC_CLK_TCK)));
}

} // namespace spindump
