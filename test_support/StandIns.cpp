#include "test_support/StandIns.h"

#include <QtEndian>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace test_support {

namespace fs = std::filesystem;

namespace {

const QByteArray endOfCall = "end of the call";

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

// A folder in which there is no such program takes none by a mount: all of /usr/bin is replaced, by links to
// what is there.
StandInProgram::StandInProgram(const std::string &name, const QByteArray &script) {
    const fs::path real = m_folder.path() / "real";
    const fs::path shown = m_folder.path() / "shown";
    for (const fs::path &folder : {real, shown})
        fs::create_directories(folder);
    m_real.reset(new Mount(Mount::over("/usr/bin", real)));
    for (const auto &entry : fs::directory_iterator(real)) {
        if (entry.path().filename() != name)
            fs::create_symlink(entry.path(), shown / entry.path().filename());
    }
    // A call is one write, so that those of several processes do not mix.
    writeProgram(shown / name, "#!/bin/sh\nprintf '%s\\0' \"$0\" \"$@\" '" + endOfCall + "' >> " +
                                   QByteArray::fromStdString(m_folder.path() / "calls") +
                                   "\nreal=" + QByteArray::fromStdString(real / name) + "\n" + script);
    m_mount.reset(new Mount(Mount::over(shown, "/usr/bin")));
}

std::vector<std::vector<std::string>> StandInProgram::calls() const {
    std::vector<std::vector<std::string>> result;
    std::vector<std::string> words;
    for (const QByteArray &word : readFile(m_folder.path() / "calls").split('\0')) {
        if (word == endOfCall)
            result.push_back(std::exchange(words, {}));
        else
            words.push_back(word.toStdString());
    }
    return result;
}

FakeJournal::FakeJournal()
    : m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    fs::create_directories("/run/systemd/journal");
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
