// HTTP/1.1 over one TLS connection: the request byte for byte, and answers that may end badly.
//
// One thread at a time; each operation ends early when the service stops.
#pragma once

#include "Tls.h"

#include <stop_token>
#include <utility>
#include <vector>

namespace support_service {

/// Sleeps for `duration`; false as soon as a stop is requested.
bool sleepUnlessStopped(const std::stop_token &stop, std::chrono::milliseconds duration);
/// Sleeps until a stop is requested.
void sleepUntilStopped(const std::stop_token &stop);

struct RequestHead {
    std::string method;
    /// Path and query, as sent.
    std::string target;
    /// Names and values as sent, in their order.
    std::vector<std::pair<std::string, std::string>> headers = {};

    /// The value of the first header with this name, in any case; empty when there is none.
    std::string header(std::string_view name) const;
};

/// Reads a request up to its body; none when the connection ends before.
std::optional<RequestHead> readHead(TlsConnection &connection);

/// The body that follows a head, whose length is in the head.
class BodyReader {
public:
    BodyReader(TlsConnection &connection, const RequestHead &head);

    /// The next bytes of the body, `most` at most; empty when no more will come.
    std::string next(std::size_t most);
    /// Whether the body was read to its end.
    bool isWhole() const { return m_rest == 0; }

private:
    TlsConnection &m_connection;
    std::uint64_t m_rest;
};

/// Sends the answer, up to the end that the behaviour gives it. True when another request may follow on the
/// connection.
bool sendAnswer(TlsConnection &connection, const Behaviour &behaviour, const std::stop_token &stop);

} // namespace support_service
