// The machine's network, as far as the C++ library says nothing about it. Any thread may call these.
#pragma once

#include <QString>
#include <cstddef>
#include <optional>
#include <vector>

namespace platform {

/// The hardware addresses of the network interfaces, whole, lower case, colon-separated: first the permanent
/// addresses of those that have one, then the addresses of the others, which may be random, each in the
/// system's order. Loopback and interfaces without an address are left out. None when the system gives no
/// list.
std::optional<std::vector<QString>> hardwareAddresses();

/// Whether any network interface besides loopback is up and has an address.
bool hasNetwork();

/// Bytes that were written to a stream socket and that the other side has not yet acknowledged; 0 for
/// anything else.
std::size_t unsentBytes(int socket);

} // namespace platform
