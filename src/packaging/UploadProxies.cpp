#include "packaging/UploadProxies.h"

#include "platform/Network.h"

#include <QUrl>
#include <arpa/inet.h>
#include <array>
#include <climits>
#include <cstdlib>

namespace {

constexpr int httpsPort = 443;

// The first of these variables that is set and not empty.
QByteArray firstVariable(std::initializer_list<const char *> names) {
    for (const char *name : names) {
        if (const char *value = std::getenv(name); value != nullptr && *value != '\0')
            return value;
    }
    return {};
}

std::optional<QByteArray> addressBits(int family, const QByteArray &text) {
    std::array<char, sizeof(struct in6_addr)> bytes{};
    if (::inet_pton(family, text.constData(), bytes.data()) != 1)
        return std::nullopt;
    QByteArray bits;
    const std::size_t count = family == AF_INET ? sizeof(struct in_addr) : bytes.size();
    for (std::size_t i = 0; i < count * CHAR_BIT; ++i)
        bits += ((static_cast<unsigned char>(bytes[i / CHAR_BIT]) >> (CHAR_BIT - 1 - i % CHAR_BIT)) & 1U) != 0
                    ? '1'
                    : '0';
    return bits;
}

// Whether the network, or single address, holds the address.
bool holdsAddress(const QByteArray &network, const QByteArray &address) {
    const qsizetype slash = network.indexOf('/');
    bool isNumber = false;
    const int prefixBits = network.mid(slash + 1).toInt(&isNumber);
    if (slash >= 0 && (!isNumber || prefixBits < 0))
        return false;
    for (const int family : {AF_INET, AF_INET6}) {
        const auto wanted = addressBits(family, slash < 0 ? network : network.left(slash));
        const auto bits = addressBits(family, address);
        if (wanted && bits)
            return bits->startsWith(slash < 0 ? *wanted : wanted->left(prefixBits));
    }
    return false;
}

bool isMeant(QByteArray entry, const QByteArray &host, int port) {
    const qsizetype colon = entry.lastIndexOf(':');
    // An address has several colons, unless it is in brackets.
    if (colon > 0 && (entry.count(':') == 1 || entry[colon - 1] == ']')) {
        if (entry.mid(colon + 1).toInt() != port)
            return false;
        entry.truncate(colon);
    }
    if (entry.startsWith('[') && entry.endsWith(']'))
        entry = entry.mid(1, entry.size() - 2);
    if (entry.startsWith("*."))
        return host.endsWith(entry.mid(1));
    if (entry.startsWith('.'))
        entry.remove(0, 1);
    return entry == "*" || entry == host || host.endsWith('.' + entry) || holdsAddress(entry, host);
}

bool isException(const QUrl &url) {
    const QByteArray host = url.host().toUtf8();
    const QByteArray list = firstVariable({"no_proxy", "NO_PROXY"}).toLower().replace(',', ' ');
    const QList<QByteArray> entries = list.simplified().split(' ');
    return std::ranges::any_of(entries, [&](const QByteArray &entry) {
        return !entry.isEmpty() && isMeant(entry, host, url.port(httpsPort));
    });
}

} // namespace

std::vector<QByteArray> proxiesFor(const QByteArray &url, const std::atomic<bool> &cancelled) {
    if (isException(QUrl::fromEncoded(url)))
        return {QByteArray()};
    if (const QByteArray proxy = firstVariable({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
        !proxy.isEmpty())
        return {proxy};
    std::vector<QByteArray> proxies;
    for (const QByteArray &proxy : platform::desktopProxies(url, cancelled)) {
        if (proxy == "direct://")
            proxies.emplace_back();
        else if (proxy.startsWith("socks://"))
            proxies.push_back("socks5h" + proxy.mid(proxy.indexOf(':')));
        else if (proxy.startsWith("http") || proxy.startsWith("socks"))
            proxies.push_back(proxy);
    }
    if (proxies.empty())
        proxies.emplace_back();
    return proxies;
}
