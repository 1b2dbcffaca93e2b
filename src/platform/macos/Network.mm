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

id valueOf(NSDictionary *settings, CFStringRef key) {
    return [settings objectForKey:bridged<NSString>(key)];
}

bool hasType(NSDictionary *settings, CFStringRef type) {
    return [valueOf(settings, kCFProxyTypeKey) isEqual:bridged<NSString>(type)] == YES;
}

// A proxy as the upload takes it.
std::optional<QByteArray> proxyIn(NSDictionary *settings) {
    if (hasType(settings, kCFProxyTypeNone))
        return "direct://";
    const bool isSocks = hasType(settings, kCFProxyTypeSOCKS);
    if (!isSocks && !hasType(settings, kCFProxyTypeHTTP) && !hasType(settings, kCFProxyTypeHTTPS))
        return std::nullopt;
    QByteArray host = textOf(valueOf(settings, kCFProxyHostNameKey)).toUtf8();
    if (host.contains(':'))
        host = '[' + host + ']';
    return (isSocks ? "socks5://" : "http://") + host + ':' +
           QByteArray::number([valueOf(settings, kCFProxyPortNumberKey) intValue]);
}

struct ScriptAnswer {
    bool hasCome = false;
    // Owned: what the callback is given does not outlast it.
    NSArray *proxies = nil;
};

void onScriptAnswer(void *answer, CFArrayRef proxies, CFErrorRef) {
    *static_cast<ScriptAnswer *>(answer) = {true, [bridged<NSArray>(proxies) retain]};
}

constexpr CFTimeInterval stepSeconds = 0.25;

// What the script of an automatic configuration names; none when it has not answered in so many steps.
NSArray *proxiesByScript(NSURL *script, NSURL *target, const std::atomic<bool> &cancelled, int &stepsLeft) {
    // Nothing else waits in this mode.
    const CFStringRef mode = bridged(@"com.brennic.LumadocDiagnostics.proxies");
    ScriptAnswer answer;
    CFStreamClientContext context{0, &answer, nullptr, nullptr, nullptr};
    // The caller owns the source, although the function's name does not say so.
    const Owned source(CFNetworkExecuteProxyAutoConfigurationURL(
        reinterpret_cast<CFURLRef>(script), reinterpret_cast<CFURLRef>(target), &onScriptAnswer, &context));
    if (!source)
        return nil;
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source.get(), mode);
    for (; stepsLeft > 0 && !answer.hasCome && !cancelled; --stepsLeft)
        CFRunLoopRunInMode(mode, stepSeconds, true);
    CFRunLoopSourceInvalidate(source.get());
    return [answer.proxies autorelease];
}

} // namespace

// All but a script is at hand.
std::vector<QByteArray> desktopProxies(const QByteArray &url, const std::atomic<bool> &cancelled) {
    @autoreleasepool {
        const Owned settings(CFNetworkCopySystemProxySettings());
        NSURL *const target = [NSURL URLWithString:stringOf(QString::fromUtf8(url))];
        std::vector<QByteArray> proxies;
        if (!settings || target == nil)
            return proxies;
        const Owned found(CFNetworkCopyProxiesForURL(reinterpret_cast<CFURLRef>(target), settings.get()));
        int stepsLeft = 40; // Ten seconds.
        for (NSDictionary *entry in bridged<NSArray>(found.get())) {
            NSArray *one = [NSArray arrayWithObject:entry];
            if (NSURL *const script = valueOf(entry, kCFProxyAutoConfigurationURLKey))
                one = proxiesByScript(script, target, cancelled, stepsLeft);
            for (NSDictionary *way in one) {
                if (const auto proxy = proxyIn(way))
                    proxies.push_back(*proxy);
            }
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
