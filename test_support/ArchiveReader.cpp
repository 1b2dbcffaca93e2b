#include "test_support/ArchiveReader.h"

#include "test_support/ScratchHome.h"

#include <stdexcept>
#include <string_view>
#include <zlib.h>

namespace test_support {

namespace {

constexpr std::string_view entrySignature("PK\1\2", 4);
constexpr std::string_view endSignature("PK\5\6", 4);
constexpr std::size_t endSize = 22;
constexpr std::size_t entrySize = 46;
constexpr std::size_t localHeaderSize = 30;

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

/// The record at the archive's end, which only its own comment follows.
std::string_view endRecord(std::string_view archive) {
    for (std::size_t at = archive.size(); at > 0;) {
        at = archive.rfind(endSignature, at - 1);
        if (at == std::string_view::npos)
            break;
        const std::string_view record = archive.substr(at);
        if (record.size() >= endSize && record.size() == endSize + number(record, 20, 2))
            return record;
    }
    throw std::runtime_error("this is no zip archive: it has no end record");
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
    const int status = inflate(&stream, Z_FINISH);
    const bool whole = status == Z_STREAM_END && stream.avail_out == 0;
    inflateEnd(&stream);
    if (!whole)
        throw std::runtime_error("an item of the archive cannot be unpacked");
    return result;
}

std::string contentOf(std::string_view archive, std::string_view entry) {
    const std::size_t method = number(entry, 10, 2);
    const std::size_t checksum = number(entry, 16, 4);
    const std::size_t offset = number(entry, 42, 4);
    const std::string_view header = part(archive, offset, localHeaderSize);
    const std::size_t start = offset + localHeaderSize + number(header, 26, 2) + number(header, 28, 2);
    const std::string_view packed = part(archive, start, number(entry, 20, 4));
    std::string content = method == 0 ? std::string(packed) : inflated(packed, number(entry, 24, 4));
    const auto actual =
        crc32(0, reinterpret_cast<const Bytef *>(content.data()), static_cast<uInt>(content.size()));
    if (actual != checksum)
        throw std::runtime_error("an item of the archive has the wrong checksum");
    return content;
}

} // namespace

std::vector<std::pair<std::string, ArchivedItem>> listArchive(const std::filesystem::path &archive) {
    const std::string bytes = readFile(archive).toStdString();
    const std::string_view end = endRecord(bytes);
    const std::size_t count = number(end, 10, 2);
    std::size_t position = number(end, 16, 4);
    std::vector<std::pair<std::string, ArchivedItem>> items;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view entry = part(bytes, position, entrySize);
        if (!entry.starts_with(entrySignature))
            throw std::runtime_error("the archive's directory is damaged");
        const std::size_t nameSize = number(entry, 28, 2);
        const std::string name(part(bytes, position + entrySize, nameSize));
        items.emplace_back(name,
                           ArchivedItem{static_cast<mode_t>(number(entry, 40, 2)), contentOf(bytes, entry)});
        position += entrySize + nameSize + number(entry, 30, 2) + number(entry, 32, 2);
    }
    return items;
}

std::map<std::string, ArchivedItem> readArchive(const std::filesystem::path &archive) {
    std::map<std::string, ArchivedItem> items;
    for (auto &[name, item] : listArchive(archive)) {
        if (!items.emplace(name, std::move(item)).second)
            throw std::runtime_error("the archive holds two items of the name " + name);
    }
    return items;
}

} // namespace test_support
