#include "EscapedText.h"

#include <array>
#include <cstdint>

namespace spindump {

namespace {

// How many bytes the UTF-8 character at the start of `text` has; 0 when there is none. Sets its code point.
std::size_t characterLength(std::string_view text, std::uint32_t &point) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned first = byte(0);
    if (first < 0x80) {
        point = first;
        return 1;
    }
    const std::size_t length = first >= 0xF0 && first < 0xF5   ? 4
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xC2 && first < 0xE0 ? 2
                                                               : 0;
    if (length == 0 || text.size() < length)
        return 0;
    point = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0u) != 0x80u)
            return 0;
        point = point << 6 | (byte(i) & 0x3Fu);
    }
    constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return point < smallest[length] || point > 0x10FFFF || surrogate ? 0 : length;
}

bool isHarmless(std::uint32_t point) {
    const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
    const bool direction = point == 0x061C || point == 0x200E || point == 0x200F ||
                           (point >= 0x202A && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
    const bool separator = point == 0x2028 || point == 0x2029 || point == 0xFEFF;
    return !control && !direction && !separator && point != '\\';
}

void appendHexadecimal(std::string &result, char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    result += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
}

} // namespace

std::string escaped(std::string_view text, std::size_t limitBytes) {
    std::string result;
    std::size_t at = 0;
    while (at < text.size()) {
        std::uint32_t point = 0;
        const std::size_t found = characterLength(text.substr(at), point);
        const std::size_t length = found == 0 ? 1 : found;
        if (at + length > limitBytes)
            break;
        if (found != 0 && isHarmless(point)) {
            result += text.substr(at, length);
        } else {
            for (const char character : text.substr(at, length))
                appendHexadecimal(result, character);
        }
        at += length;
    }
    if (at < text.size())
        result += "… (" + std::to_string(text.size() - at) + " bytes more)";
    return result;
}

} // namespace spindump
