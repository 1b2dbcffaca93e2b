// Texts and numbers that somebody else chose, and the text of a failure.
#pragma once

#include <QByteArray>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace spindump {

/// Why there is no report; thrown, and caught in `run` alone.
struct Failure : std::runtime_error {
    explicit Failure(const QByteArray &reason, int status = EXIT_FAILURE)
        : std::runtime_error(reason.toStdString())
        , exitStatus(status) {}
    int exitStatus;
};

/// `text` as UTF-8 on one line, in a form that cannot act on a terminal. Control characters, characters that
/// change the direction of writing, line separators and backslashes are written as \xNN, byte by byte; so are
/// all bytes but ASCII of a text that is no UTF-8. What is longer than `limitBytes` is cut, with the number
/// of bytes left out.
QByteArray escaped(const QByteArray &text, qsizetype limitBytes = 4096);

/// A decimal number without sign, blanks or leading zeros, at most `limit`.
std::optional<unsigned> decimalNumber(const QByteArray &text, unsigned limit);

} // namespace spindump
