// Stand-in for the system's proxy settings. Written from the public documentation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {
// https://developer.apple.com/documentation/cfnetwork/cfnetworkcopysystemproxysettings()
CFDictionaryRef CFNetworkCopySystemProxySettings();
// https://developer.apple.com/documentation/cfnetwork/cfnetworkcopyproxiesforurl(_:_:)
CFArrayRef CFNetworkCopyProxiesForURL(CFURLRef url, CFDictionaryRef settings);
// https://developer.apple.com/documentation/cfnetwork/kcfproxytypekey
extern const CFStringRef kCFProxyTypeKey;
// https://developer.apple.com/documentation/cfnetwork/kcfproxyhostnamekey
extern const CFStringRef kCFProxyHostNameKey;
// https://developer.apple.com/documentation/cfnetwork/kcfproxyportnumberkey
extern const CFStringRef kCFProxyPortNumberKey;
// https://developer.apple.com/documentation/cfnetwork/proxy-types
extern const CFStringRef kCFProxyTypeNone;
extern const CFStringRef kCFProxyTypeHTTP;
extern const CFStringRef kCFProxyTypeHTTPS;
extern const CFStringRef kCFProxyTypeSOCKS;
extern const CFStringRef kCFProxyTypeAutoConfigurationURL;
// https://developer.apple.com/documentation/cfnetwork/kcfproxyautoconfigurationurlkey
extern const CFStringRef kCFProxyAutoConfigurationURLKey;
// https://developer.apple.com/documentation/cfnetwork/cfproxyautoconfigurationresultcallback
using CFProxyAutoConfigurationResultCallback = void (*)(void *client, CFArrayRef proxies, CFErrorRef error);
// https://developer.apple.com/documentation/cfnetwork/cfnetworkexecuteproxyautoconfigurationurl(_:_:_:_:)
CFRunLoopSourceRef CFNetworkExecuteProxyAutoConfigurationURL(CFURLRef script, CFURLRef target,
                                                             CFProxyAutoConfigurationResultCallback answer,
                                                             CFStreamClientContext *context);
}
