// Parts of the system replaced for one test: a program, the journal. Only with `hasOwnNamespaces()`.
#pragma once

#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <QMap>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

/// Is "/usr/bin/<name>", whether or not there is such a program, and notes how it is called.
class StandInProgram {
public:
    /// `script` is what it does then, a shell's lines; `$real` is the program that it replaces.
    explicit StandInProgram(const std::string &name, const QByteArray &script = {});

    /// Each call so far: the path by which the program was started, and its arguments.
    std::vector<std::vector<std::string>> calls() const;

private:
    ScratchFolder m_folder;
    std::unique_ptr<Mount> m_real;
    std::unique_ptr<Mount> m_mount;
};

/// Is the machine's journal.
class FakeJournal {
public:
    FakeJournal();
    bool isListening() const { return m_isListening; }

    /// The fields of the next entry; none when none comes within `limit`.
    std::optional<QMap<QByteArray, QByteArray>>
    next(std::chrono::milliseconds limit = std::chrono::seconds(2));

private:
    Mount m_run = Mount::memory("/run", 1 << 20);
    platform::FileDescriptor m_socket;
    bool m_isListening = false;
};

} // namespace test_support
