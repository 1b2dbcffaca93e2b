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
}
