#include "archives/ZipDirectory.h"

#include "platform/posix/FileSystem.h"

#include <QtEndian>
#include <algorithm>
#include <unistd.h>

namespace archives {

namespace {

// https://pkware.cachefly.net/webdocs/casestudies/APPNOTE.TXT, 4.3.12, 4.3.14 to 4.3.16 and 4.5.3.
constexpr std::uint64_t endBytes = 22;
constexpr std::uint64_t locatorBytes = 20;
constexpr std::uint64_t largeEndBytes = 56;
constexpr qsizetype entryBytes = 46;
// In the place of a number that four bytes cannot hold ("zip64"); eight bytes elsewhere have it.
constexpr quint32 tooLarge = 0xffffffff;
// No honest run collects so many files.
constexpr std::uint64_t directoryLimitBytes = std::uint64_t{64} << 20;

template <typename Number>
Number numberAt(QByteArrayView bytes, qsizetype offset) {
    return qFromLittleEndian<Number>(bytes.data() + offset);
}

std::optional<QByteArray> bytesAt(const platform::FileDescriptor &file, std::uint64_t offset,
                                  std::uint64_t count, std::error_code &error) {
    if (::lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) < 0)
        error = platform::systemError();
    auto bytes = error ? std::nullopt : platform::readAtMost(file.get(), count, error);
    return bytes && bytes->size() == static_cast<qsizetype>(count) ? bytes : std::nullopt;
}

struct Place {
    std::uint64_t offset;
    std::uint64_t bytes;
};

std::optional<Place> placeOfDirectory(const platform::FileDescriptor &file, std::uint64_t fileBytes,
                                      std::error_code &error) {
    // zip leaves no comment after the end record.
    const auto end = bytesAt(file, fileBytes - endBytes, endBytes, error);
    if (!end || !end->startsWith("PK\5\6"))
        return std::nullopt;
    const Place place{.offset = numberAt<quint32>(*end, 16), .bytes = numberAt<quint32>(*end, 12)};
    if (place.offset != tooLarge && place.bytes != tooLarge)
        return place;
    const auto locator = bytesAt(file, fileBytes - endBytes - locatorBytes, locatorBytes, error);
    if (!locator || !locator->startsWith("PK\6\7"))
        return std::nullopt;
    const auto largeEnd = bytesAt(file, numberAt<quint64>(*locator, 8), largeEndBytes, error);
    if (!largeEnd || !largeEnd->startsWith("PK\6\6"))
        return std::nullopt;
    return Place{.offset = numberAt<quint64>(*largeEnd, 48), .bytes = numberAt<quint64>(*largeEnd, 40)};
}

std::uint64_t unpackedBytes(QByteArrayView entry, QByteArrayView extraFields) {
    const auto bytes = numberAt<quint32>(entry, 24);
    while (bytes == tooLarge && extraFields.size() >= 12) {
        if (numberAt<quint16>(extraFields, 0) == 1)
            return numberAt<quint64>(extraFields, 4);
        extraFields = extraFields.sliced(
            std::min<qsizetype>(4 + numberAt<quint16>(extraFields, 2), extraFields.size()));
    }
    return bytes;
}

// The number of entries is not used: where there are more than 65,535 it says nothing.
std::optional<std::vector<PackedFile>> filesIn(QByteArrayView directory) {
    std::vector<PackedFile> files;
    while (!directory.isEmpty()) {
        if (directory.size() < entryBytes || !directory.startsWith("PK\1\2"))
            return std::nullopt;
        const auto nameBytes = numberAt<quint16>(directory, 28);
        const auto extraBytes = numberAt<quint16>(directory, 30);
        const qsizetype size = entryBytes + nameBytes + extraBytes + numberAt<quint16>(directory, 32);
        if (size > directory.size())
            return std::nullopt;
        files.push_back({QString::fromUtf8(directory.sliced(entryBytes, nameBytes)),
                         unpackedBytes(directory, directory.sliced(entryBytes + nameBytes, extraBytes))});
        directory = directory.sliced(size);
    }
    return files;
}

} // namespace

std::optional<std::vector<PackedFile>> filesInArchive(const std::filesystem::path &file,
                                                      std::error_code &error) {
    std::uint64_t sizeBytes = 0;
    const auto archive = platform::openRegularFile(file, sizeBytes, error);
    if (!archive || sizeBytes < endBytes)
        return std::nullopt;
    const auto place = placeOfDirectory(archive, sizeBytes, error);
    if (!place || place->bytes > directoryLimitBytes || place->offset > sizeBytes ||
        place->bytes > sizeBytes - place->offset)
        return std::nullopt;
    const auto directory = bytesAt(archive, place->offset, place->bytes, error);
    return directory ? filesIn(*directory) : std::nullopt;
}

} // namespace archives
