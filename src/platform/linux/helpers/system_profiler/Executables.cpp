#include "platform/linux/helpers/system_profiler/Executables.h"

#include "platform/posix/FileSystem.h"

#include <QByteArrayList>
#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// The size of the largest ELF header, and of the longest first line of a script that the kernel reads.
constexpr qsizetype elf64HeaderBytes = 64;
constexpr qsizetype elf32HeaderBytes = 52;
constexpr std::size_t beginningBytes = 256;

unsigned char byteAt(const QByteArray &bytes, qsizetype place) {
    return static_cast<unsigned char>(bytes.at(place));
}

// Numbers of the header's field e_machine.
QString machineName(unsigned machine) {
    static constexpr std::pair<unsigned, const char *> names[] = {
        {3, "x86"},  {8, "MIPS"},    {20, "PowerPC"}, {21, "PowerPC"},  {22, "S/390"},
        {40, "ARM"}, {62, "x86-64"}, {183, "ARM"},    {0xf3, "RISC-V"}, {258, "LoongArch"},
    };
    const auto *const found = std::find_if(std::begin(names), std::end(names),
                                           [&](const auto &name) { return name.first == machine; });
    return found == std::end(names) ? QStringLiteral("machine %1").arg(machine)
                                    : QString::fromLatin1(found->second);
}

QString elfKind(const QByteArray &header, QString &problem) {
    constexpr qsizetype classPlace = 4;
    constexpr qsizetype orderPlace = 5;
    constexpr qsizetype machinePlace = 18;
    const bool has64Bits = header.size() > classPlace && header.at(classPlace) == 2;
    if (header.size() < (has64Bits ? elf64HeaderBytes : elf32HeaderBytes)) {
        problem = QStringLiteral("the ELF header breaks off");
        return {};
    }
    const unsigned char order = byteAt(header, orderPlace);
    if ((!has64Bits && header.at(classPlace) != 1) || (order != 1 && order != 2)) {
        problem = QStringLiteral("the ELF header is damaged");
        return {};
    }
    const unsigned first = byteAt(header, machinePlace);
    const unsigned second = byteAt(header, machinePlace + 1);
    const unsigned machine = order == 1 ? first | second << 8U : second | first << 8U;
    return QStringLiteral("%1-bit %2").arg(has64Bits ? 64 : 32).arg(machineName(machine));
}

QString scriptKind(const QByteArray &beginning) {
    const QByteArray line = beginning.split('\n').first().mid(2).trimmed();
    return line.isEmpty() ? QStringLiteral("Script")
                          : QStringLiteral("Script (%1)").arg(QString::fromUtf8(line));
}

std::chrono::sys_seconds secondsOf(const struct stat &status) {
    return std::chrono::sys_seconds(std::chrono::seconds(status.st_mtim.tv_sec));
}

QByteArray readBeginning(int file, std::error_code &error) {
    QByteArray bytes(static_cast<qsizetype>(beginningBytes), Qt::Uninitialized);
    ssize_t count = 0;
    do
        count = ::pread(file, bytes.data(), beginningBytes, 0);
    while (count < 0 && errno == EINTR);
    if (count < 0)
        error = {errno, std::generic_category()};
    bytes.truncate(std::max<ssize_t>(count, 0));
    return bytes;
}

} // namespace

QString kindOf(const QByteArray &beginning, QString &problem) {
    problem.clear();
    if (beginning.startsWith("\x7f"
                             "ELF"))
        return elfKind(beginning, problem);
    if (beginning.startsWith("#!"))
        return scriptKind(beginning);
    return {};
}

Executable describeExecutable(const fs::path &path) {
    Executable result;
    result.modified = modificationTime(path);
    std::uint64_t sizeBytes = 0;
    const auto file = platform::openRegularFile(path, sizeBytes, result.error);
    if (!file)
        return result;
    const QByteArray beginning = readBeginning(file.get(), result.error);
    if (!result.error)
        result.kind = kindOf(beginning, result.problem);
    return result;
}

std::optional<std::chrono::sys_seconds> modificationTime(const fs::path &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return secondsOf(status);
}

} // namespace system_profiler
