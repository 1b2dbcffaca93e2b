// What GNUstep's Foundation lacks of the classes and methods that the macOS side uses. Written from the
// public documentation.
#pragma once

#include_next <Foundation/Foundation.h>

// https://developer.apple.com/documentation/foundation/filemanager/urls(for:in:)
@interface NSFileManager (StandIn)
- (NSArray *)URLsForDirectory:(NSSearchPathDirectory)directory inDomains:(NSSearchPathDomainMask)domains;
@end

// https://developer.apple.com/documentation/foundation/operatingsystemversion
struct NSOperatingSystemVersion {
    NSInteger majorVersion;
    NSInteger minorVersion;
    NSInteger patchVersion;
};

// https://developer.apple.com/documentation/foundation/processinfo/isoperatingsystematleast(_:)
@interface NSProcessInfo (StandIn)
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version;
@end

// https://developer.apple.com/documentation/foundation/nsapplescript
// https://developer.apple.com/documentation/foundation/nsapplescripterrornumber
// https://developer.apple.com/documentation/foundation/nsapplescripterrormessage
extern NSString *const NSAppleScriptErrorNumber;
extern NSString *const NSAppleScriptErrorMessage;
@interface NSAppleScript (StandIn)
- (instancetype)initWithSource:(NSString *)source;
- (NSAppleEventDescriptor *)executeAndReturnError:(NSDictionary **)error;
@end

using AEEventClass = unsigned int;
using AEEventID = unsigned int;
// https://developer.apple.com/documentation/foundation/nsappleeventmanager
@interface NSAppleEventManager (StandIn)
+ (NSAppleEventManager *)sharedAppleEventManager;
// https://developer.apple.com/documentation/foundation/nsappleeventmanager/seteventhandler(_:andselector:foreventclass:andeventid:)
- (void)setEventHandler:(id)handler
            andSelector:(SEL)selector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)eventID;
@end
