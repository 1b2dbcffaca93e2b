#include "test_support/macos/StandIns.h"

#include "platform/macos/Owned.h"

#include <AppKit/AppKit.h>
#include <Block.h>
#include <CoreServices/CoreServices.h>
#include <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

using platform::stringOf;
using platform::textOf;
using test_support::Mac;

namespace {

id reopenHandler = nil;
SEL reopenSelector = nullptr;

NSURL *urlOf(const std::filesystem::path &path) {
    return [NSURL fileURLWithPath:stringOf(path)];
}

NSArray *urlsOf(const std::vector<std::filesystem::path> &paths) {
    NSMutableArray *const urls = [NSMutableArray array];
    for (const auto &path : paths)
        [urls addObject:urlOf(path)];
    return urls;
}

} // namespace

// --- Applications ---

@interface StandInRunningApplication : NSObject {
@public
    const Mac::Running *_running;
}
@end

@implementation StandInRunningApplication
- (NSString *)bundleIdentifier {
    return stringOf(_running->identifier);
}
- (pid_t)processIdentifier {
    return _running->process;
}
- (NSURL *)bundleURL {
    return _running->bundle.empty() ? nil : urlOf(_running->bundle);
}
// https://developer.apple.com/documentation/appkit/nsrunningapplication/activate(options:)
- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options {
    if (options == NSApplicationActivateAllWindows)
        Mac::shared().activated.push_back(_running->process);
    return YES;
}
@end

@implementation NSWorkspace (StandIn)
+ (NSWorkspace *)sharedWorkspace {
    static NSWorkspace *const workspace = NSAllocateObject([NSWorkspace class], 0, nullptr);
    return workspace;
}
- (NSArray *)runningApplications {
    NSMutableArray *const list = [NSMutableArray array];
    for (const auto &running : Mac::shared().running) {
        StandInRunningApplication *const one = [[StandInRunningApplication new] autorelease];
        one->_running = &running;
        [list addObject:one];
    }
    return list;
}
- (BOOL)respondsToSelector:(SEL)selector {
    const bool isNew = sel_isEqual(selector, @selector(URLsForApplicationsWithBundleIdentifier:));
    return isNew ? Mac::shared().majorVersion >= 12 : [super respondsToSelector:selector];
}
- (NSArray *)URLsForApplicationsWithBundleIdentifier:(NSString *)identifier {
    return urlsOf(Mac::shared().installed[textOf(identifier)]);
}
- (BOOL)openURL:(NSURL *)url {
    if (Mac::shared().isDesktopBroken)
        return NO;
    Mac::shared().opened.emplace_back([[url absoluteString] UTF8String]);
    return YES;
}
- (BOOL)selectFile:(NSString *)file inFileViewerRootedAtPath:(NSString *)root {
    if (Mac::shared().isDesktopBroken)
        return NO;
    if (file == nil)
        Mac::shared().revealed.emplace_back([root fileSystemRepresentation]);
    return file == nil;
}
@end

CFArrayRef LSCopyApplicationURLsForBundleIdentifier(CFStringRef identifier, CFErrorRef *) {
    ++Mac::shared().outdatedCalls;
    const auto &paths = Mac::shared().installed[textOf(platform::bridged<NSString>(identifier))];
    return paths.empty() ? nullptr : reinterpret_cast<CFArrayRef>([urlsOf(paths) retain]);
}

// --- This application ---

@interface StandInApplication : NSObject {
    NSAppearance *_effectiveAppearance;
}
@property(nonatomic, retain) NSAppearance *effectiveAppearance;
@end

@implementation StandInApplication
@synthesize effectiveAppearance = _effectiveAppearance;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
    Mac::shared().presence.push_back(policy == NSApplicationActivationPolicyRegular      ? "regular"
                                     : policy == NSApplicationActivationPolicyProhibited ? "prohibited"
                                                                                         : "other");
    return YES;
}
- (void)activateIgnoringOtherApps:(BOOL)others {
    Mac::shared().presence.push_back(others ? "active" : "asks");
}
@end

@interface StandInAppearance : NSObject {
@public
    BOOL _isDark;
}
@end

// https://developer.apple.com/documentation/appkit/nsappearance/bestmatch(from:)
@implementation StandInAppearance
- (NSString *)bestMatchFromAppearancesWithNames:(NSArray *)names {
    NSString *const own = _isDark ? NSAppearanceNameDarkAqua : NSAppearanceNameAqua;
    return [names containsObject:own] ? own : nil;
}
@end

@interface NSApplication (StandInForShared)
@end

@implementation NSApplication (StandInForShared)
+ (NSApplication *)sharedApplication {
    static id const application = [StandInApplication new];
    return application;
}
@end

@implementation NSProcessInfo (StandIn)
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version {
    return Mac::shared().majorVersion >= version.majorVersion;
}
@end

@implementation NSAppleEventManager (StandIn)
+ (NSAppleEventManager *)sharedAppleEventManager {
    static NSAppleEventManager *const manager = [NSAppleEventManager new];
    return manager;
}
- (void)setEventHandler:(id)handler
            andSelector:(SEL)selector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)eventID {
    if (eventClass == 'aevt' && eventID == 'rapp') {
        reopenHandler = handler;
        reopenSelector = selector;
    }
}
@end

namespace test_support {

Mac &Mac::shared() {
    static Mac &mac = *new Mac;
    return mac;
}

void Mac::setDark(bool dark) {
    isDark = dark;
    @autoreleasepool {
        StandInAppearance *const appearance = [[StandInAppearance new] autorelease];
        appearance->_isDark = dark;
        id const application = [NSApplication sharedApplication];
        [application setEffectiveAppearance:static_cast<id>(appearance)];
    }
}

bool Mac::isMultiThreaded() {
    return [NSThread isMultiThreaded];
}

void Mac::reopen() {
    @autoreleasepool {
        [reopenHandler performSelector:reopenSelector withObject:nil withObject:nil];
    }
}

} // namespace test_support

// --- Files and scripts ---

@implementation NSFileManager (StandIn)
- (NSArray *)URLsForDirectory:(NSSearchPathDirectory)directory inDomains:(NSSearchPathDomainMask)domains {
    const auto &folder = directory == NSLibraryDirectory ? Mac::shared().library : Mac::shared().caches;
    return domains != NSUserDomainMask || folder.empty() ? [NSArray array] : urlsOf({folder});
}
@end

NSString *const NSAppleScriptErrorNumber = @"NSAppleScriptErrorNumber";
NSString *const NSAppleScriptErrorMessage = @"NSAppleScriptErrorMessage";

namespace {

NSDictionary *scriptError(int number, NSString *message) {
    return
        [NSDictionary dictionaryWithObjectsAndKeys:[NSNumber numberWithInt:number], NSAppleScriptErrorNumber,
                                                   message, NSAppleScriptErrorMessage, nil];
}

QString &sourceOf(id script) {
    static std::map<id, QString> sources;
    return sources[script];
}

} // namespace

// Knows one statement:
// https://developer.apple.com/library/archive/technotes/tn2065/_index.html
@implementation NSAppleScript (StandIn)
- (instancetype)initWithSource:(NSString *)source {
    sourceOf(self) = textOf(source);
    return self;
}
- (NSAppleEventDescriptor *)executeAndReturnError:(NSDictionary **)error {
    const QString source = sourceOf(self);
    Mac::shared().scripts.push_back(source);
    const QString start = QStringLiteral("do shell script \"");
    const qsizetype end = source.indexOf(u'"', start.size());
    if (!source.startsWith(start) || end < 0) {
        *error = scriptError(-2741, @"Expected a command.");
        return nil;
    }
    if (Mac::shared().refusesRights && source.contains(QStringLiteral(" with administrator privileges"))) {
        *error = scriptError(-128, @"User canceled.");
        return nil;
    }
    NSTask *const task = [[NSTask new] autorelease];
    NSPipe *const errors = [NSPipe pipe];
    [task setLaunchPath:@"/bin/sh"];
    [task
        setArguments:[NSArray arrayWithObjects:@"-c", stringOf(source.mid(start.size(), end - start.size())),
                                               nil]];
    [task setStandardError:errors];
    [task launch];
    NSData *const said = [[errors fileHandleForReading] readDataToEndOfFile];
    [task waitUntilExit];
    const int status = [task terminationStatus];
    if (status == 0)
        return [[NSAppleEventDescriptor new] autorelease];
    const QByteArray message(static_cast<const char *>([said bytes]), qsizetype([said length]));
    *error = scriptError(status, stringOf(QString::fromUtf8(message).trimmed()));
    return nil;
}
@end

// --- Pasteboard and panel ---

@implementation NSPasteboard (StandIn)
+ (NSPasteboard *)generalPasteboard {
    static NSPasteboard *const pasteboard = [NSPasteboard alloc];
    return pasteboard;
}
// https://developer.apple.com/documentation/appkit/nspasteboard/declaretypes(_:owner:)
- (int)declareTypes:(NSArray *)types owner:(id)owner {
    Mac::shared().pasteboard.clear();
    Mac::shared().takesText = [types containsObject:NSPasteboardTypeString];
    return ++Mac::shared().pasteboardChanges;
}
// https://developer.apple.com/documentation/appkit/nspasteboard/setstring(_:fortype:)
- (BOOL)setString:(NSString *)text forType:(NSString *)type {
    const bool isDeclared = Mac::shared().takesText && [type isEqualToString:NSPasteboardTypeString];
    if (isDeclared)
        Mac::shared().pasteboard = textOf(text);
    return isDeclared;
}
- (int)changeCount {
    return Mac::shared().pasteboardChanges;
}
@end

@implementation UTType
+ (UTType *)typeWithFilenameExtension:(NSString *)extension {
    UTType *const type = [[UTType new] autorelease];
    type->_extension = [extension copy];
    return [extension length] == 0 ? nil : type;
}
- (void)dealloc {
    [_extension release];
    [super dealloc];
}
- (NSString *)preferredFilenameExtension {
    return _extension;
}
@end

@interface StandInPanel : NSObject {
    NSArray *_chosen;
    void (^_answer)(NSInteger);
}
@end

@implementation StandInPanel
- (void)setMessage:(NSString *)message {
    Mac::shared().panel.message = textOf(message);
}
- (void)setCanChooseDirectories:(BOOL)can {
    Mac::shared().panel.takesFolders = can;
}
- (void)setAllowsMultipleSelection:(BOOL)can {
    Mac::shared().panel.takesSeveral = can;
}
- (void)setAllowedContentTypes:(NSArray *)types {
    Mac::shared().panel.extensions.clear();
    for (UTType *type in types)
        Mac::shared().panel.extensions.push_back(textOf([type preferredFilenameExtension]));
}
- (void)beginWithCompletionHandler:(void (^)(NSInteger))answer {
    _answer = Block_copy(answer);
    Mac::shared().panel.isOpen = true;
    Mac::shared().panel.answer = [self](const auto &files) {
        @autoreleasepool {
            _chosen = files ? [urlsOf(*files) retain] : nil;
            [self end:files ? NSModalResponseOK : NSModalResponseCancel];
        }
    };
}
- (void)cancel:(id)sender {
    [self end:NSModalResponseCancel];
}
- (void)end:(NSInteger)response {
    Mac::shared().panel.isOpen = false;
    if (_answer == nullptr)
        return;
    _answer(response);
    Block_release(_answer);
    _answer = nullptr;
}
- (NSArray *)URLs {
    return _chosen;
}
- (void)dealloc {
    [_chosen release];
    [super dealloc];
}
@end

@implementation NSOpenPanel (StandIn)
+ (NSOpenPanel *)openPanel {
    return static_cast<id>([[StandInPanel new] autorelease]);
}
- (void)setAllowedContentTypes:(NSArray *)types {
}
@end
