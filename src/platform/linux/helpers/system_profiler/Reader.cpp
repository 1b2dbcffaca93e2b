#include "platform/linux/helpers/system_profiler/Reader.h"

#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QByteArrayList>
#include <QHash>
#include <QtEndian>
#include <algorithm>
#include <elf.h>
#include <sys/stat.h>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// Holds an ELF header, and the longest first line of a script that the kernel reads.
constexpr std::size_t beginningBytes = 256;

// What is read of the header is in the same place for both classes. The bytes are taken to be in this
// machine's order.
QString elfKind(QByteArray header) {
    static const QHash<int, QString> names{{EM_386, QStringLiteral("x86")},
                                           {EM_X86_64, QStringLiteral("x86-64")},
                                           {EM_ARM, QStringLiteral("ARM")},
                                           {EM_AARCH64, QStringLiteral("ARM")}};
    header.resize(sizeof(Elf64_Ehdr), '\0');
    const auto machine = qFromUnaligned<Elf64_Half>(header.constData() + offsetof(Elf64_Ehdr, e_machine));
    return QStringLiteral("%1-bit %2")
        .arg(header[EI_CLASS] == ELFCLASS64 ? 64 : 32)
        .arg(names.value(machine, QStringLiteral("machine %1").arg(machine)));
}

QString scriptKind(const QByteArray &beginning) {
    const QByteArray interpreter = beginning.split('\n').first().mid(2).trimmed();
    return interpreter.isEmpty() ? QStringLiteral("Script")
                                 : QStringLiteral("Script (%1)").arg(QString::fromUtf8(interpreter));
}

} // namespace

std::vector<fs::path> Reader::entriesOf(const fs::path &folder) {
    std::vector<fs::path> result;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (++m_folderEntries > m_limits.folderEntries) {
            note(folder, QStringLiteral("comes after %1 entries of folders").arg(m_limits.folderEntries));
            break;
        }
        result.push_back(entry->path());
    }
    if (error && !isAbsence(error))
        note(folder, error);
    std::sort(result.begin(), result.end());
    return result;
}

std::optional<QByteArray> Reader::read(const fs::path &file) {
    std::error_code error;
    auto bytes = platform::readFile(file, m_limits.fileBytes, error);
    m_bytes += bytes ? static_cast<std::size_t>(bytes->size()) : 0;
    if (!bytes)
        note(file, error);
    else if (m_bytes > m_limits.totalBytes)
        note(file, QStringLiteral("comes after %1 bytes of files").arg(m_limits.totalBytes));
    return m_bytes > m_limits.totalBytes ? std::nullopt : bytes;
}

QString Reader::kindOf(const fs::path &program) {
    std::uint64_t sizeBytes = 0;
    std::error_code error;
    const auto file = platform::openRegularFile(program, sizeBytes, error);
    const auto beginning = file ? platform::readAtMost(file.get(), beginningBytes, error) : std::nullopt;
    if (!beginning && !isAbsence(error))
        note(program, error);
    if (beginning && beginning->startsWith(ELFMAG))
        return elfKind(*beginning);
    return beginning && beginning->startsWith("#!") ? scriptKind(*beginning) : QString();
}

void Reader::note(const fs::path &path, const QString &reason) {
    m_notRead.emplace(path.native(), reason);
}

void Reader::note(const fs::path &path, const std::error_code &error) {
    // The system's own words for the first would not tell a reader what is wrong with the file.
    note(path, error == std::errc::invalid_argument ? QStringLiteral("not a regular file")
                                                    : platform::description(error));
}

QDateTime modificationTime(const fs::path &path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? QDateTime::fromSecsSinceEpoch(status.st_mtim.tv_sec, Qt::UTC)
                                              : QDateTime();
}

bool isAbsence(const std::error_code &error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

} // namespace system_profiler
