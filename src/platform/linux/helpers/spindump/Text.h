// Texts that somebody else chose, and the text of a failure.
#pragma once

#include "platform/posix/Text.h"

#include <QByteArray>
#include <cstdlib>
#include <stdexcept>

namespace spindump {

/// Why there is no report; thrown, and caught in `run` alone.
struct Failure : std::runtime_error {
    explicit Failure(const QByteArray &reason, int status = EXIT_FAILURE)
        : std::runtime_error(reason.toStdString())
        , exitStatus(status) {}
    int exitStatus;
};

/// `text` on one line, in a form that cannot act on a terminal. What is longer than `limit` characters is
/// cut, with the number of characters left out.
inline QByteArray escaped(const QByteArray &text, qsizetype limit = 4096) {
    const QString decoded = QString::fromUtf8(text);
    const QByteArray shown = platform::escaped(decoded.left(limit)).toUtf8();
    const qsizetype more = decoded.size() - limit;
    return more > 0 ? shown + "… (" + QByteArray::number(more) + " characters more)" : shown;
}

} // namespace spindump
