// The machine's network, as far as the C++ library says nothing about it. Any thread may call these.
#pragma once

#include <QByteArray>
#include <QString>
#include <atomic>
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

/// The proxies that the desktop's settings name for `url`, in the order in which to try them, as
/// "scheme://host:port" or "direct://". Waits for them up to 10 seconds, or until `cancelled` turns true;
/// none when there are none by then.
std::vector<QByteArray> desktopProxies(const QByteArray &url, const std::atomic<bool> &cancelled);

/// Bytes that were written to a stream socket and that the other side has not yet acknowledged; 0 for
/// anything else.
std::size_t unsentBytes(int socket);

} // namespace platform
