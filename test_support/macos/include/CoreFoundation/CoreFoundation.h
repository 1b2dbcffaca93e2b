// Stand-in for what the macOS side uses of Core Foundation, over GNUstep's Foundation: each reference is an
// object of the class that the documentation calls toll-free bridged to it. Written from the public
// documentation.
#pragma once

#include <Foundation/Foundation.h>

using Boolean = unsigned char;
// https://developer.apple.com/documentation/corefoundation/cfindex
using CFIndex = long;
// https://developer.apple.com/documentation/corefoundation/cfoptionflags
using CFOptionFlags = unsigned long;
// https://developer.apple.com/documentation/corefoundation/cftyperef
using CFTypeRef = const void *;
using CFPropertyListRef = CFTypeRef;
using CFAllocatorRef = const struct __CFAllocator *;
using CFStringRef = const struct __CFString *;
using CFDataRef = const struct __CFData *;
using CFArrayRef = const struct __CFArray *;
using CFDictionaryRef = const struct __CFDictionary *;
using CFURLRef = const struct __CFURL *;
using CFErrorRef = struct __CFError *;
using CFRunLoopRef = struct __CFRunLoop *;
using CFRunLoopSourceRef = struct __CFRunLoopSource *;
// https://developer.apple.com/documentation/corefoundation/cftimeinterval
using CFTimeInterval = double;

// https://developer.apple.com/documentation/corefoundation/cfpropertylistformat
enum CFPropertyListFormat : CFIndex { kCFPropertyListBinaryFormat_v1_0 = 200 };
// https://developer.apple.com/documentation/corefoundation/cfpropertylistmutabilityoptions
enum CFPropertyListMutabilityOptions : CFOptionFlags {
    kCFPropertyListMutableContainers = 1,
    kCFPropertyListMutableContainersAndLeaves = 2
};

// https://developer.apple.com/documentation/corefoundation/cfstreamclientcontext
struct CFStreamClientContext {
    CFIndex version;
    void *info;
    void *(*retain)(void *info);
    void (*release)(void *info);
    CFStringRef (*copyDescription)(void *info);
};

extern "C" {
// https://developer.apple.com/documentation/corefoundation/cfrunloopgetcurrent()
CFRunLoopRef CFRunLoopGetCurrent();
// https://developer.apple.com/documentation/corefoundation/cfrunloopaddsource(_:_:_:)
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);
// https://developer.apple.com/documentation/corefoundation/cfrunloopruninmode(_:_:_:)
int CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled);
// https://developer.apple.com/documentation/corefoundation/cfrunloopsourceinvalidate(_:)
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);
// https://developer.apple.com/documentation/corefoundation/cfrelease
void CFRelease(CFTypeRef object);
// https://developer.apple.com/documentation/corefoundation/cfpropertylistcreatedeepcopy(_:_:_:)
CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef list,
                                               CFOptionFlags mutability);
// https://developer.apple.com/documentation/corefoundation/cfpropertylistcreatedata(_:_:_:_:_:)
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef list,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef *error);
// https://developer.apple.com/documentation/corefoundation/cfpropertylistcreatewithdata(_:_:_:_:_:)
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat *format,
                                               CFErrorRef *error);
// https://developer.apple.com/documentation/corefoundation/cfpreferencescopyappvalue(_:_:)
CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application);
// https://developer.apple.com/documentation/corefoundation/cfpreferencessetappvalue(_:_:_:)
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application);
// https://developer.apple.com/documentation/corefoundation/cfpreferencesappsynchronize(_:)
Boolean CFPreferencesAppSynchronize(CFStringRef application);
}
