#include "ProcFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace spindump {

namespace {

double seconds(std::uint64_t ticks) {
    return static_cast<double>(ticks) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

} // namespace

platform::FileDescriptor openIn(int folder, const std::string &name, int flags) {
    return platform::FileDescriptor(::openat(folder, name.c_str(), flags | O_CLOEXEC));
}

QByteArray contentOf(int file, qsizetype limitBytes) {
    constexpr qsizetype partBytes = 1 << 14;
    QByteArray content;
    while (content.size() < limitBytes) {
        const qsizetype begin = content.size();
        content.resize(std::min(begin + partBytes, limitBytes));
        const ssize_t count =
            ::pread(file, content.data() + begin, static_cast<std::size_t>(content.size() - begin), begin);
        content.truncate(begin + std::max<ssize_t>(count, 0));
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
    }
    return content;
}

QByteArray contentIn(int folder, const std::string &name) {
    return contentOf(openIn(folder, name, O_RDONLY).get());
}

QByteArray statusField(const QByteArray &text, const QByteArray &name) {
    const QByteArray lines = '\n' + text;
    const qsizetype found = lines.indexOf('\n' + name + ':');
    const qsizetype begin = found + name.size() + 2;
    return found < 0 ? QByteArray() : lines.mid(begin, lines.indexOf('\n', begin) - begin).trimmed();
}

// The name is in parentheses and may hold any character, parentheses and blanks as well.
ProcStat::ProcStat(const QByteArray &text) {
    const qsizetype open = text.indexOf('(');
    const qsizetype close = text.lastIndexOf(')');
    if (open < 0 || close < open)
        return;
    name = text.mid(open + 1, close - open - 1);
    fields = text.mid(close + 1).simplified().split(' ');
    state = fields.constFirst().isEmpty() ? '?' : fields.constFirst().front();
}

double ProcStat::userSeconds() const {
    return seconds(number(14));
}

double ProcStat::systemSeconds() const {
    return seconds(number(15));
}

} // namespace spindump
