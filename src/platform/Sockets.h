// What the system knows of a connection and the C++ library does not tell.
#pragma once

#include <cstddef>

namespace platform {

/// Bytes that were written to a stream socket and have not yet been taken by the other side; 0 for anything
/// else.
std::size_t unsentBytes(int socket);

} // namespace platform
