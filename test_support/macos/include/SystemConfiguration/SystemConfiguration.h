// Stand-in for the list of network interfaces. Written from the public documentation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// https://developer.apple.com/documentation/systemconfiguration/scnetworkinterface
using SCNetworkInterfaceRef = const struct __SCNetworkInterface *;
extern "C" {
// https://developer.apple.com/documentation/systemconfiguration/scnetworkinterfacecopyall()
CFArrayRef SCNetworkInterfaceCopyAll();
// https://developer.apple.com/documentation/systemconfiguration/scnetworkinterfacegethardwareaddressstring(_:)
CFStringRef SCNetworkInterfaceGetHardwareAddressString(SCNetworkInterfaceRef interface);
}
