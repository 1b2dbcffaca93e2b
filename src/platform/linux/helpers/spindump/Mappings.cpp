#include "Mappings.h"

#include "ProcFile.h"

#include <charconv>

namespace spindump {

namespace {

// Takes the text up to `delimiter` off the front of `line`.
std::string_view take(std::string_view &line, char delimiter) {
    const std::size_t end = std::min(line.find(delimiter), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

bool parse(std::string_view word, int base, std::uint64_t &value) {
    const char *end = word.data() + word.size();
    const auto [stopped, failure] = std::from_chars(word.data(), end, value, base);
    return failure == std::errc() && stopped == end;
}

std::optional<Mapping> parseLine(std::string_view line) {
    Mapping mapping;
    const auto begin = take(line, '-');
    const auto end = take(line, ' ');
    const auto permissions = take(line, ' ');
    const auto offset = take(line, ' ');
    mapping.device = take(line, ' ');
    const auto inode = take(line, ' ');
    if (!parse(begin, 16, mapping.begin) || !parse(end, 16, mapping.end) ||
        !parse(offset, 16, mapping.fileOffset) || !parse(inode, 10, mapping.inode) ||
        permissions.size() != 4 || mapping.begin >= mapping.end)
        return std::nullopt;
    mapping.executable = permissions[2] == 'x';
    const std::size_t path = line.find_first_not_of(' ');
    if (path != std::string_view::npos)
        mapping.path = line.substr(path);
    return mapping;
}

} // namespace

std::vector<Mapping> parseMappings(std::string_view text, std::size_t limit) {
    std::vector<Mapping> result;
    while (!text.empty() && result.size() < limit) {
        if (auto mapping = parseLine(take(text, '\n')))
            result.push_back(std::move(*mapping));
    }
    return result;
}

std::vector<Mapping> readMappings(int mapsFile) {
    constexpr std::size_t limitBytes = std::size_t{16} << 20;
    const auto text = contentOf(mapsFile, limitBytes);
    return text.value ? parseMappings(*text.value) : std::vector<Mapping>();
}

} // namespace spindump
