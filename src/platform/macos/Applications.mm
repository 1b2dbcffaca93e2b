#include "platform/Applications.h"

#include "platform/macos/Owned.h"
#include "platform/posix/Lock.h"

#include <AppKit/AppKit.h>
#include <CoreServices/CoreServices.h>
#include <algorithm>
#include <unistd.h>

namespace platform {

std::vector<RunningApplication> runningApplications() {
    @autoreleasepool {
        std::vector<RunningApplication> found;
        for (NSRunningApplication *one in [[NSWorkspace sharedWorkspace] runningApplications])
            found.push_back(
                {textOf([one bundleIdentifier]), [one processIdentifier], pathOf([one bundleURL])});
        return found;
    }
}

namespace {

NSArray *applicationsWith(NSString *identifier) {
    NSWorkspace *const workspace = [NSWorkspace sharedWorkspace];
    if ([workspace respondsToSelector:@selector(URLsForApplicationsWithBundleIdentifier:)])
        return [workspace URLsForApplicationsWithBundleIdentifier:identifier];
// What was there before.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    const CFArrayRef found = LSCopyApplicationURLsForBundleIdentifier(bridged(identifier), nullptr);
#pragma clang diagnostic pop
    return [bridged<NSArray>(found) autorelease];
}

} // namespace

std::vector<std::filesystem::path> installedApplications(const QString &bundleIdentifier) {
    @autoreleasepool {
        std::vector<std::filesystem::path> found;
        for (NSURL *url in applicationsWith(stringOf(bundleIdentifier)))
            found.push_back(pathOf(url));
        return found;
    }
}

// A copy that ended a moment ago may still be listed, so the lock decides where there can be one.
bool claimSingleInstance(const QString &identifier, const std::filesystem::path &folder) {
    const Lock lock = lockForLife(folder, identifier);
    const auto isOther = [&](const RunningApplication &one) {
        return one.bundleIdentifier == identifier && one.processIdentifier != ::getpid();
    };
    return lock == Lock::impossible ? std::ranges::none_of(runningApplications(), isOther)
                                    : lock == Lock::held;
}

void activateOtherCopy(const QString &identifier) {
    @autoreleasepool {
        for (NSRunningApplication *one in [[NSWorkspace sharedWorkspace] runningApplications]) {
            if (textOf([one bundleIdentifier]) == identifier && [one processIdentifier] != ::getpid())
                [one activateWithOptions:NSApplicationActivateAllWindows];
        }
    }
}

void setPresence(Presence presence) {
    @autoreleasepool {
        NSApplication *const application = [NSApplication sharedApplication];
        const bool isOrdinary = presence == Presence::ordinary;
        [application setActivationPolicy:isOrdinary ? NSApplicationActivationPolicyRegular
                                                    : NSApplicationActivationPolicyProhibited];
        if (isOrdinary)
            [application activateIgnoringOtherApps:YES];
    }
}

} // namespace platform
