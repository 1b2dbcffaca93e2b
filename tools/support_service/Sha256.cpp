#include "Sha256.h"

#include <array>
#include <openssl/evp.h>
#include <stdexcept>

namespace support_service {

std::string sha256Hex(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");

    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(std::size_t{size} * 2);
    for (unsigned int i = 0; i < size; ++i) {
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

} // namespace support_service
