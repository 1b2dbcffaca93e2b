// Answers that the HTTP library does not give: sent before the request's body was read, broken off,
// or without an end.
#pragma once

#include "Behaviour.h"
#include "Connection.h"

namespace support_service {

/// Sends the whole answer at once.
void sendWholeAnswer(Connection &connection, const Behaviour &behaviour);

/// Sends an answer that ends as `behaviour.ending` says, and finishes with the connection. Returns when it
/// has ended, the other side has gone, or the service stops.
void sendBrokenAnswer(Connection &connection, const Behaviour &behaviour, const std::stop_token &stop);

} // namespace support_service
