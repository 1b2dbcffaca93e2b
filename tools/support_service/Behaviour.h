// How the support service treats what it receives: well by default, or badly in one chosen way. The values
// combine: service.setBehaviour({.status = 503, .body = "Busy"});
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace support_service {

/// The certificate that a new connection is offered.
enum class CertificateKind { good, wrongHost, expired, notYetValid, untrusted };

/// What happens to the TLS handshake of a new connection.
enum class Handshake {
    complete,
    /// Answered with a fatal alert.
    refuse,
    /// Never answered; the connection stays open.
    hang,
};

/// When the answer is sent.
enum class AnswerTime {
    afterBody,
    /// After the headers; the body is read to its end afterwards.
    beforeBodyThenRead,
    /// After the headers; the connection is closed with the body unread, once the client has hung up.
    beforeBodyThenClose,
};

/// How the answer ends.
enum class AnswerEnding {
    whole,
    /// The connection is reset after the status line, after the headers, after half of the body.
    resetAfterStatusLine,
    resetAfterHeaders,
    resetInBody,
    /// Nothing is sent after the headers, and the connection stays open.
    hangAfterHeaders,
    /// Header lines, or body bytes, without end, as fast as they are taken.
    endlessHeaders,
    endlessBody,
    /// One body byte each `trickleInterval`, without end.
    trickle,
};

struct Behaviour {
    // Reading the request's body.
    /// Bytes per second; 0 is as fast as they come.
    std::uint64_t readBytesPerSecond = 0;
    /// After this many bytes of the body nothing more is read, and the connection stays open.
    std::optional<std::uint64_t> stopReadingAfterBytes = std::nullopt;
    /// After this many bytes of the body the connection is reset.
    std::optional<std::uint64_t> resetAfterBytes = std::nullopt;

    // Answering.
    AnswerTime answerTime = AnswerTime::afterBody;
    std::chrono::milliseconds waitBeforeAnswer{0};
    /// No answer at all; the connection stays open.
    bool neverAnswer = false;
    int status = 200;
    std::string body = "Received.";
    /// A "Location" header, which turns a status in the 300s into a redirect.
    std::optional<std::string> location = std::nullopt;
    AnswerEnding ending = AnswerEnding::whole;
    std::chrono::milliseconds trickleInterval{50};
};

} // namespace support_service
