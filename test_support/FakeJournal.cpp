#include "test_support/FakeJournal.h"

#include <QtEndian>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace test_support {

namespace {

// The journal's native form: "KEY=value\n", or "KEY\n", the value's size in 64 bits, the value, "\n".
QMap<QByteArray, QByteArray> fieldsOf(const QByteArray &entry) {
    QMap<QByteArray, QByteArray> fields;
    qsizetype place = 0;
    while (place < entry.size()) {
        const qsizetype end = entry.indexOf('\n', place);
        const QByteArray line = entry.mid(place, end - place);
        const qsizetype equals = line.indexOf('=');
        if (equals >= 0) {
            fields[line.first(equals)] = line.sliced(equals + 1);
            place = end + 1;
        } else {
            const auto size = qFromLittleEndian<qint64>(entry.constData() + end + 1);
            fields[line] = entry.mid(end + 1 + 8, size);
            place = end + 1 + 8 + size + 1;
        }
    }
    return fields;
}

} // namespace

FakeJournal::FakeJournal()
    : m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories("/run/systemd/journal");
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    m_isListening =
        ::bind(m_socket.get(), reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0;
}

std::optional<QMap<QByteArray, QByteArray>> FakeJournal::next(std::chrono::milliseconds limit) {
    struct pollfd waiting = {m_socket.get(), POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(limit.count())) != 1)
        return std::nullopt;
    QByteArray entry(1 << 20, Qt::Uninitialized);
    const ssize_t size = ::recv(m_socket.get(), entry.data(), static_cast<std::size_t>(entry.size()), 0);
    entry.truncate(size);
    return fieldsOf(entry);
}

} // namespace test_support
