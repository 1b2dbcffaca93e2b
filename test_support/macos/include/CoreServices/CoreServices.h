// Stand-in for a list of applications and for two names of Apple events, each four letters in one number.
// Written from the public documentation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// https://docs.rs/objc2-core-services/latest/objc2_core_services/fn.LSCopyApplicationURLsForBundleIdentifier.html
extern "C" CFArrayRef LSCopyApplicationURLsForBundleIdentifier(CFStringRef identifier, CFErrorRef *error)
    __attribute__((deprecated));

// https://developer.apple.com/documentation/coreservices/kcoreeventclass
enum { kCoreEventClass = 0x61657674 /* aevt */ };
// https://developer.apple.com/documentation/coreservices/kaereopenapplication
enum { kAEReopenApplication = 0x72617070 /* rapp */ };
