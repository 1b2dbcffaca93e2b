// What the kernel says of a process or thread, in the files of the folder that it keeps for it.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QByteArray>
#include <QByteArrayList>
#include <cstdint>
#include <string>

namespace spindump {

/// Closed when it cannot be opened. `folder` is an open one, or AT_FDCWD.
platform::FileDescriptor openIn(int folder, const std::string &name, int flags);

/// Up to `limitBytes` of the file from its start; empty when it cannot be read. A descriptor may be read
/// again and again.
QByteArray contentOf(int file, qsizetype limitBytes = 1 << 16);
QByteArray contentIn(int folder, const std::string &name);

/// The text after "Name:" in a `status` or `io` file, without the blanks around it; empty when there is none.
QByteArray statusField(const QByteArray &text, const QByteArray &name);

/// A `stat` file. Its fields are numbered as in proc(5); one that is not there is 0.
struct ProcStat {
    explicit ProcStat(const QByteArray &text);
    std::uint64_t number(int field) const { return fields.value(field - 3).toULongLong(); }
    /// Processor time, in the program and in the system.
    double userSeconds() const;
    double systemSeconds() const;

    QByteArray name;
    char state = '?';
    /// From the third on.
    QByteArrayList fields;
};

} // namespace spindump
