// Which way an upload takes to the service: directly or by a proxy.
#pragma once

#include <QByteArray>
#include <atomic>
#include <vector>

/// The ways to `url` in the order in which to try them, at least one: proxies as libcurl takes them; an empty
/// one is the direct way. Where the environment names no proxy (https_proxy, all_proxy), the desktop's
/// settings do, which may take 10 seconds, or until `cancelled` turns true. Any thread.
///
/// Hosts that `no_proxy` lists are reached directly. An entry is "*", a domain with what is below it,
/// "*.domain" for what is below it alone, an address or a network ("10.0.0.0/8"); with ":port" it is for that
/// port.
std::vector<QByteArray> proxiesFor(const QByteArray &url, const std::atomic<bool> &cancelled);
