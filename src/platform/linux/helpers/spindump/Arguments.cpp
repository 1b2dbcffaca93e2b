#include "Arguments.h"

#include "EscapedText.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace spindump {

std::optional<unsigned long> decimalNumber(const std::string &text, unsigned long limit) {
    unsigned long value = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, failure] = std::from_chars(text.data(), end, value);
    const bool leadingZero = text.size() > 1 && text.front() == '0';
    if (failure != std::errc() || stopped != end || leadingZero || value > limit)
        return std::nullopt;
    return value;
}

std::optional<Arguments> parseArguments(const std::vector<std::string> &words, std::string &error) {
    constexpr auto usage = "usage: spindump PID -file PATH";
    if (words.size() != 3 || words[1] != "-file") {
        error = usage;
        return std::nullopt;
    }
    const auto processId = decimalNumber(words[0], std::numeric_limits<pid_t>::max());
    if (!processId || *processId == 0) {
        error = "\"" + escaped(words[0]) + "\" is not a process id; " + usage;
        return std::nullopt;
    }
    const std::string &path = words[2];
    const std::string name = path.substr(path.rfind('/') + 1);
    if (name.empty() || name == "." || name == "..") {
        error = "\"" + escaped(path) + "\" does not name a file; " + usage;
        return std::nullopt;
    }
    return Arguments{static_cast<pid_t>(*processId), path};
}

} // namespace spindump
