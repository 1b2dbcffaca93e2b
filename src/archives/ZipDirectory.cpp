#include "archives/ZipDirectory.h"

#include "platform/posix/FileSystem.h"

#include <QtEndian>
#include <algorithm>
#include <unistd.h>

namespace archives {

namespace {

// https://pkware.cachefly.net/webdocs/casestudies/APPNOTE.TXT, 4.3.12 and 4.3.16.
constexpr std::uint64_t endBytes = 22;
constexpr qsizetype entryBytes = 46;
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

// The number of entries is not used: where there are more than 65,535 it says nothing.
std::optional<std::vector<PackedFile>> filesIn(QByteArrayView directory) {
    std::vector<PackedFile> files;
    while (!directory.isEmpty()) {
        if (directory.size() < entryBytes || !directory.startsWith("PK\1\2"))
            return std::nullopt;
        const auto nameBytes = numberAt<quint16>(directory, 28);
        const qsizetype size =
            entryBytes + nameBytes + numberAt<quint16>(directory, 30) + numberAt<quint16>(directory, 32);
        if (size > directory.size())
            return std::nullopt;
        files.push_back(
            {QString::fromUtf8(directory.sliced(entryBytes, nameBytes)), numberAt<quint32>(directory, 24)});
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
    // zip leaves no comment after the end record.
    const auto end = bytesAt(archive, sizeBytes - endBytes, endBytes, error);
    if (!end || !end->startsWith("PK\5\6"))
        return std::nullopt;
    const auto directoryBytes = numberAt<quint32>(*end, 12);
    const std::uint64_t offset = numberAt<quint32>(*end, 16);
    if (directoryBytes > directoryLimitBytes || offset + directoryBytes > sizeBytes - endBytes)
        return std::nullopt;
    const auto directory = bytesAt(archive, offset, directoryBytes, error);
    return directory ? filesIn(*directory) : std::nullopt;
}

} // namespace archives
