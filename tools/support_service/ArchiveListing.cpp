#include "ArchiveListing.h"

#include <algorithm>
#include <fstream>

namespace support_service {

namespace {

constexpr std::string_view endSignature("PK\5\6", 4);
constexpr std::string_view entrySignature("PK\1\2", 4);
constexpr std::size_t endSize = 22;
constexpr std::size_t entrySize = 46;
constexpr std::size_t longestComment = 0xffff;

std::uint32_t number(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return value;
}

std::optional<std::string> readPart(std::ifstream &file, std::uint64_t offset, std::uint64_t size) {
    std::string part(size, '\0');
    file.seekg(static_cast<std::streamoff>(offset));
    if (!file.read(part.data(), static_cast<std::streamsize>(size)))
        return std::nullopt;
    return part;
}

/// The record that ends an archive and is followed by nothing but its own comment.
std::optional<std::string_view> findEndRecord(std::string_view tail) {
    for (std::size_t at = tail.rfind(endSignature); at != std::string_view::npos;
         at = at == 0 ? std::string_view::npos : tail.rfind(endSignature, at - 1)) {
        const std::string_view record = tail.substr(at);
        if (record.size() >= endSize && record.size() == endSize + number(record, 20, 2))
            return record;
    }
    return std::nullopt;
}

std::optional<ArchiveEntry> takeEntry(std::string_view &directory) {
    if (directory.size() < entrySize || !directory.starts_with(entrySignature))
        return std::nullopt;
    const std::size_t nameSize = number(directory, 28, 2);
    const std::size_t size = entrySize + nameSize + number(directory, 30, 2) + number(directory, 32, 2);
    if (directory.size() < size)
        return std::nullopt;

    ArchiveEntry entry;
    entry.name = directory.substr(entrySize, nameSize);
    entry.sizeBytes = number(directory, 24, 4);
    entry.isFolder = entry.name.ends_with('/');
    const bool madeOnUnix = number(directory, 5, 1) == 3;
    const std::uint32_t mode = number(directory, 40, 2);
    entry.isLink = madeOnUnix && (mode & 0170000U) == 0120000U;
    directory.remove_prefix(size);
    return entry;
}

} // namespace

std::optional<std::vector<ArchiveEntry>> listArchive(const std::filesystem::path &archive,
                                                     std::string &problem) {
    std::error_code error;
    const std::uint64_t fileSize = std::filesystem::file_size(archive, error);
    std::ifstream file(archive, std::ios::binary);
    if (error || !file) {
        problem = "the file cannot be read";
        return std::nullopt;
    }

    const std::uint64_t tailSize = std::min<std::uint64_t>(fileSize, endSize + longestComment);
    const auto tail = readPart(file, fileSize - tailSize, tailSize);
    const auto end = tail ? findEndRecord(*tail) : std::nullopt;
    if (!end) {
        problem = "this is no zip archive: it has no end record";
        return std::nullopt;
    }
    const std::uint32_t count = number(*end, 10, 2);
    const std::uint64_t directorySize = number(*end, 12, 4);
    const std::uint64_t directoryOffset = number(*end, 16, 4);
    if (directoryOffset + directorySize > fileSize) {
        problem = "the directory lies outside the archive";
        return std::nullopt;
    }

    if (count == 0xffff) {
        problem = "the archive has too many entries";
        return std::nullopt;
    }

    const auto directory = readPart(file, directoryOffset, directorySize);
    if (!directory) {
        problem = "the directory cannot be read";
        return std::nullopt;
    }
    std::string_view rest = *directory;
    std::vector<ArchiveEntry> entries;
    for (std::uint32_t i = 0; i < count; ++i) {
        auto entry = takeEntry(rest);
        if (!entry) {
            problem = "the directory is damaged";
            return std::nullopt;
        }
        entries.push_back(std::move(*entry));
    }
    return entries;
}

} // namespace support_service
