// SHA-256 of bytes in memory, as lower-case hexadecimal text. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace support_service {

std::string sha256Hex(std::string_view bytes);

} // namespace support_service
