#include "test_support/ArchiveReader.h"

#include "test_support/ScratchHome.h"

#include <stdexcept>
#include <string_view>
#include <zlib.h>

namespace test_support {

namespace {

std::string_view part(std::string_view bytes, std::size_t offset, std::size_t size) {
    if (offset > bytes.size() || size > bytes.size() - offset)
        throw std::runtime_error("the archive ends too early");
    return bytes.substr(offset, size);
}

std::size_t number(std::string_view bytes, std::size_t offset, std::size_t size) {
    const std::string_view digits = part(bytes, offset, size);
    std::size_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(digits[i]);
    return value;
}

std::string inflated(std::string_view packed, std::size_t size) {
    std::string result(size, '\0');
    std::string input(packed);
    z_stream stream{};
    inflateInit2(&stream, -MAX_WBITS);
    stream.next_in = reinterpret_cast<Bytef *>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    const bool isWhole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_out == 0;
    inflateEnd(&stream);
    return isWhole ? result : std::string();
}

// Of the item that this entry of the directory is about.
std::string contentOf(std::string_view archive, std::string_view entry) {
    constexpr std::size_t headerSize = 30;
    const std::string_view header = part(archive, number(entry, 42, 4), headerSize);
    const std::size_t namesSize = number(header, 26, 2) + number(header, 28, 2);
    const auto packed = part(archive, number(entry, 42, 4) + headerSize + namesSize, number(entry, 20, 4));
    const bool isPacked = number(entry, 10, 2) != 0;
    std::string content = isPacked ? inflated(packed, number(entry, 24, 4)) : std::string(packed);
    const auto *bytes = reinterpret_cast<const Bytef *>(content.data());
    if (crc32(0, bytes, static_cast<uInt>(content.size())) != number(entry, 16, 4))
        throw std::runtime_error("an item of the archive has the wrong checksum");
    return content;
}

} // namespace

std::map<std::string, ArchivedItem> readArchive(const std::filesystem::path &archive) {
    using namespace std::string_view_literals;
    constexpr std::size_t endSize = 22;
    constexpr std::size_t entrySize = 46;
    const std::string bytes = readFile(archive).toStdString();
    const std::size_t end = bytes.rfind("PK\5\6"sv);
    if (end == std::string::npos || end + endSize != bytes.size())
        throw std::runtime_error("this is no zip archive: it has no end record");
    std::map<std::string, ArchivedItem> items;
    std::size_t position = number(bytes, end + 16, 4);
    for (std::size_t count = number(bytes, end + 10, 2); count > 0; --count) {
        const std::string_view entry = part(bytes, position, entrySize);
        if (!entry.starts_with("PK\1\2"sv))
            throw std::runtime_error("the archive's directory is damaged");
        const std::size_t nameSize = number(entry, 28, 2);
        const std::string name(part(bytes, position + entrySize, nameSize));
        const ArchivedItem item{static_cast<mode_t>(number(entry, 40, 2)), contentOf(bytes, entry)};
        if (!items.emplace(name, item).second)
            throw std::runtime_error("the archive holds two items of the name " + name);
        position += entrySize + nameSize + number(entry, 30, 2) + number(entry, 32, 2);
    }
    return items;
}

} // namespace test_support
