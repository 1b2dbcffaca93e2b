// Replaces the machine's journal for one test. Needs the namespaces of Isolation.h.
#pragma once

#include "platform/posix/FileDescriptor.h"
#include "test_support/Mounts.h"

#include <QByteArray>
#include <QMap>
#include <chrono>
#include <optional>

namespace test_support {

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
