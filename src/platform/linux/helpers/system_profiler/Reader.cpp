#include "platform/linux/helpers/system_profiler/Reader.h"

#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QByteArrayList>
#include <QtEndian>
#include <algorithm>
#include <cerrno>
#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// Holds an ELF header, and the longest first line of a script that the kernel reads.
constexpr std::size_t beginningBytes = 256;

QString machineName(unsigned machine) {
    static constexpr std::pair<unsigned, const char *> names[] = {
        {EM_386, "x86"},       {EM_MIPS, "MIPS"},
        {EM_PPC, "PowerPC"},   {EM_PPC64, "PowerPC"},
        {EM_S390, "S/390"},    {EM_ARM, "ARM"},
        {EM_X86_64, "x86-64"}, {EM_AARCH64, "ARM"},
        {EM_RISCV, "RISC-V"},  {EM_LOONGARCH, "LoongArch"},
    };
    for (const auto &[number, name] : names) {
        if (number == machine)
            return QString::fromLatin1(name);
    }
    return QStringLiteral("machine %1").arg(machine);
}

// Empty for a header that breaks off or contradicts itself. No program is shorter than the larger header.
QString elfKind(const QByteArray &header) {
    if (header.size() < static_cast<qsizetype>(sizeof(Elf64_Ehdr)))
        return {};
    const bool has64Bits = header[EI_CLASS] == ELFCLASS64;
    const bool isLittleEndian = header[EI_DATA] == ELFDATA2LSB;
    if ((!has64Bits && header[EI_CLASS] != ELFCLASS32) || (!isLittleEndian && header[EI_DATA] != ELFDATA2MSB))
        return {};
    // In the same place for both classes.
    const char *const place = header.constData() + offsetof(Elf64_Ehdr, e_machine);
    const auto machine = isLittleEndian ? qFromLittleEndian<quint16>(place) : qFromBigEndian<quint16>(place);
    return QStringLiteral("%1-bit %2").arg(has64Bits ? 64 : 32).arg(machineName(machine));
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
    QByteArray beginning(beginningBytes, Qt::Uninitialized);
    const auto file = platform::openRegularFile(program, sizeBytes, error);
    const ssize_t count = file ? ::pread(file.get(), beginning.data(), beginningBytes, 0) : 0;
    if (count < 0)
        error = {errno, std::generic_category()};
    if (error && !isAbsence(error))
        note(program, error);
    beginning.truncate(std::max<ssize_t>(count, 0));
    if (!beginning.startsWith(ELFMAG))
        return beginning.startsWith("#!") ? scriptKind(beginning) : QString();
    QString kind = elfKind(beginning);
    if (kind.isEmpty())
        note(program, QStringLiteral("a damaged ELF header"));
    return kind;
}

void Reader::note(const fs::path &path, const QString &reason) {
    m_notRead.emplace(path.native(), reason);
}

void Reader::note(const fs::path &path, const std::error_code &error) {
    // The system's own words for the first would not tell a reader what is wrong with the file.
    note(path, error == std::errc::invalid_argument ? QStringLiteral("not a regular file")
                                                    : platform::description(error));
}

std::optional<std::chrono::sys_seconds> modificationTime(const fs::path &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return std::chrono::sys_seconds(std::chrono::seconds(status.st_mtim.tv_sec));
}

bool isAbsence(const std::error_code &error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

} // namespace system_profiler
