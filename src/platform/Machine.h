// What the machine and the account are called.
#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace platform {

/// The hardware addresses of the network interfaces in the system's order, lower case, colon-separated;
/// loopback and interfaces without an address are left out. None when the system gives no list.
std::optional<std::vector<QString>> hardwareAddresses();

/// The login name of the user this process runs as; empty when the account has none.
QString userName();

/// Whether any network interface besides loopback is up and has an address.
bool hasNetwork();

} // namespace platform
