// What GNUstep's AppKit lacks of the classes and methods that the macOS side uses. Written from the public
// documentation.
#pragma once

#include_next <AppKit/AppKit.h>

@class UTType;

@interface NSWorkspace (StandIn)
// https://developer.apple.com/documentation/appkit/nsworkspace/urlsforapplications(withbundleidentifier:)
- (NSArray *)URLsForApplicationsWithBundleIdentifier:(NSString *)identifier;
@end

@interface NSApplication (StandIn)
// https://developer.apple.com/documentation/appkit/nsapplication/setactivationpolicy(_:)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
// https://developer.apple.com/documentation/appkit/nsapplication/effectiveappearance
- (NSAppearance *)effectiveAppearance;
@end

@interface NSOpenPanel (StandIn)
// https://developer.apple.com/documentation/appkit/nssavepanel/allowedcontenttypes
- (void)setAllowedContentTypes:(NSArray *)types;
@end
