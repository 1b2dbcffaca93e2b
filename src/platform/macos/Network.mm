#include "platform/Network.h"

#include "platform/macos/Owned.h"

#include <CFNetwork/CFNetwork.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <sys/socket.h>

namespace platform {

std::optional<std::vector<QString>> hardwareAddresses() {
    @autoreleasepool {
        const Owned interfaces(SCNetworkInterfaceCopyAll());
        if (!interfaces)
            return std::nullopt;
        std::vector<QString> addresses;
        for (id one in bridged<NSArray>(interfaces.get())) {
            const auto interface = reinterpret_cast<SCNetworkInterfaceRef>(one);
            const QString address =
                textOf(bridged<NSString>(SCNetworkInterfaceGetHardwareAddressString(interface)));
            if (!address.isEmpty())
                addresses.push_back(address);
        }
        return addresses;
    }
}

namespace {

// A proxy as the upload takes it; none for one that needs an automatic configuration to be run first.
std::optional<QByteArray> proxyIn(NSDictionary *settings) {
    const auto value = [settings](CFStringRef key) { return [settings objectForKey:bridged<NSString>(key)]; };
    NSString *const type = value(kCFProxyTypeKey);
    const auto is = [type](CFStringRef other) {
        return [type isEqualToString:bridged<NSString>(other)] == YES;
    };
    if (is(kCFProxyTypeNone))
        return "direct://";
    const bool isSocks = is(kCFProxyTypeSOCKS);
    if (!isSocks && !is(kCFProxyTypeHTTP) && !is(kCFProxyTypeHTTPS))
        return std::nullopt;
    QByteArray host = textOf(value(kCFProxyHostNameKey)).toUtf8();
    if (host.contains(':'))
        host = '[' + host + ']';
    return (isSocks ? "socks5://" : "http://") + host + ':' +
           QByteArray::number([value(kCFProxyPortNumberKey) intValue]);
}

} // namespace

// The system has the settings at hand: there is nothing to wait for.
std::vector<QByteArray> desktopProxies(const QByteArray &url, const std::atomic<bool> & /*cancelled*/) {
    @autoreleasepool {
        const Owned settings(CFNetworkCopySystemProxySettings());
        NSURL *const target = [NSURL URLWithString:stringOf(QString::fromUtf8(url))];
        std::vector<QByteArray> proxies;
        if (!settings || target == nil)
            return proxies;
        const Owned found(CFNetworkCopyProxiesForURL(reinterpret_cast<CFURLRef>(target), settings.get()));
        for (NSDictionary *one in bridged<NSArray>(found.get())) {
            if (const auto proxy = proxyIn(one))
                proxies.push_back(*proxy);
        }
        return proxies;
    }
}

std::size_t unsentBytes(int socket) {
    int count = 0;
    socklen_t size = sizeof count;
    return ::getsockopt(socket, SOL_SOCKET, SO_NWRITE, &count, &size) == 0 ? static_cast<std::size_t>(count)
                                                                           : 0;
}

} // namespace platform
