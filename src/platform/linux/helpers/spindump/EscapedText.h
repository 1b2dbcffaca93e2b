// Text that somebody else chose, in a form that cannot act on a terminal or pass for another line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace spindump {

/// `text` as UTF-8 on one line. Control characters, characters that turn the direction of writing, line
/// separators, backslashes and bytes that are no UTF-8 are written as \xNN, byte by byte. What is longer than
/// `limitBytes` is cut, with the number of bytes left out.
std::string escaped(std::string_view text, std::size_t limitBytes = 4096);

} // namespace spindump
