// The functions among the stand-ins. Each does what the documentation that its header names says of it.
#include "platform/macos/Owned.h"
#include "platform/posix/FileDescriptor.h"
#include "test_support/macos/StandIns.h"

#include <CFNetwork/CFNetwork.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <copyfile.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <mach-o/dyld.h>
#include <os/log.h>
#include <poll.h>
#include <sys/event.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#undef getsockopt
#undef lstat
#undef stat

using platform::bridged;
using platform::stringOf;
using platform::textOf;
using test_support::Mac;

// --- Core Foundation ---

void CFRelease(CFTypeRef object) {
    [bridged<NSObject>(object) release];
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef list,
                                               CFOptionFlags mutability) {
    const platform::Owned data(
        CFPropertyListCreateData(allocator, list, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    return data ? CFPropertyListCreateWithData(allocator, data.get(), mutability, nullptr, nullptr) : nullptr;
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef list, CFPropertyListFormat,
                                   CFOptionFlags, CFErrorRef *) {
    NSString *error = nil;
    NSData *const data = [NSPropertyListSerialization dataFromPropertyList:bridged<NSObject>(list)
                                                                    format:NSPropertyListBinaryFormat_v1_0
                                                          errorDescription:&error];
    return reinterpret_cast<CFDataRef>([data retain]);
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat *, CFErrorRef *) {
    NSString *error = nil;
    const auto mutability = (options & kCFPropertyListMutableContainersAndLeaves) != 0
                                ? NSPropertyListMutableContainersAndLeaves
                                : NSPropertyListImmutable;
    id const list = [NSPropertyListSerialization propertyListFromData:bridged<NSData>(data)
                                                     mutabilityOption:mutability
                                                               format:nullptr
                                                     errorDescription:&error];
    return reinterpret_cast<CFTypeRef>([list retain]);
}

// --- Preferences: what was set is kept by application until it is written to the file of that path ---

namespace {

NSMutableDictionary *pending(CFStringRef application) {
    static NSMutableDictionary *const all = [NSMutableDictionary new];
    NSString *const name = bridged<NSString>(application);
    if ([all objectForKey:name] == nil)
        [all setObject:[NSMutableDictionary dictionary] forKey:name];
    return [all objectForKey:name];
}

} // namespace

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application) {
    NSString *const name = bridged<NSString>(key);
    id value = [pending(application) objectForKey:name];
    if (value == nil)
        value =
            [[NSDictionary dictionaryWithContentsOfFile:bridged<NSString>(application)] objectForKey:name];
    return reinterpret_cast<CFTypeRef>([value retain]);
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application) {
    [pending(application) setObject:bridged<NSObject>(value) forKey:bridged<NSString>(key)];
}

Boolean CFPreferencesAppSynchronize(CFStringRef application) {
    NSString *const file = bridged<NSString>(application);
    NSMutableDictionary *const content = [NSMutableDictionary dictionaryWithContentsOfFile:file];
    [content addEntriesFromDictionary:pending(application)];
    [pending(application) removeAllObjects];
    NSString *error = nil;
    NSData *const bytes = [NSPropertyListSerialization dataFromPropertyList:content
                                                                     format:NSPropertyListXMLFormat_v1_0
                                                           errorDescription:&error];
    return [bytes writeToFile:file atomically:YES];
}

// --- Network ---

CFArrayRef SCNetworkInterfaceCopyAll() {
    if (!Mac::shared().interfaces)
        return nullptr;
    NSMutableArray *const all = [NSMutableArray new];
    for (const QString &address : *Mac::shared().interfaces)
        [all addObject:stringOf(address)];
    return reinterpret_cast<CFArrayRef>(all);
}

CFStringRef SCNetworkInterfaceGetHardwareAddressString(SCNetworkInterfaceRef interface) {
    NSString *const address = bridged<NSString>(interface);
    return [address length] == 0 ? nullptr : bridged(address);
}

const CFStringRef kCFProxyTypeKey = bridged(@"kCFProxyTypeKey");
const CFStringRef kCFProxyHostNameKey = bridged(@"kCFProxyHostNameKey");
const CFStringRef kCFProxyPortNumberKey = bridged(@"kCFProxyPortNumberKey");
const CFStringRef kCFProxyTypeNone = bridged(@"kCFProxyTypeNone");
const CFStringRef kCFProxyTypeHTTP = bridged(@"kCFProxyTypeHTTP");
const CFStringRef kCFProxyTypeHTTPS = bridged(@"kCFProxyTypeHTTPS");
const CFStringRef kCFProxyTypeSOCKS = bridged(@"kCFProxyTypeSOCKS");
const CFStringRef kCFProxyTypeAutoConfigurationURL = bridged(@"kCFProxyTypeAutoConfigurationURL");
const CFStringRef kCFProxyAutoConfigurationURLKey = bridged(@"kCFProxyAutoConfigurationURLKey");

CFDictionaryRef CFNetworkCopySystemProxySettings() {
    return Mac::shared().proxies ? reinterpret_cast<CFDictionaryRef>([NSDictionary new]) : nullptr;
}

namespace {

CFArrayRef newList(const std::vector<Mac::Proxy> &proxies) {
    NSMutableArray *const found = [NSMutableArray new];
    for (const auto &proxy : proxies) {
        NSMutableDictionary *const one = [NSMutableDictionary dictionary];
        [one setObject:stringOf(QString::fromStdString("kCFProxyType" + proxy.type))
                forKey:bridged<NSString>(kCFProxyTypeKey)];
        if (proxy.type == "AutoConfigurationURL") {
            [one setObject:[NSURL URLWithString:stringOf(proxy.host)]
                    forKey:bridged<NSString>(kCFProxyAutoConfigurationURLKey)];
        } else if (!proxy.host.isEmpty()) {
            [one setObject:stringOf(proxy.host) forKey:bridged<NSString>(kCFProxyHostNameKey)];
            [one setObject:[NSNumber numberWithInt:proxy.port]
                    forKey:bridged<NSString>(kCFProxyPortNumberKey)];
        }
        [found addObject:one];
    }
    return reinterpret_cast<CFArrayRef>(found);
}

} // namespace

CFArrayRef CFNetworkCopyProxiesForURL(CFURLRef url, CFDictionaryRef settings) {
    const bool isKnown =
        settings != nullptr && Mac::shared().proxiedUrl == [[bridged<NSURL>(url) absoluteString] UTF8String];
    return newList(isKnown ? *Mac::shared().proxies : std::vector<Mac::Proxy>{{"None", {}, 0}});
}

// --- A run loop, with a source for the answer of a script that names proxies ---

@interface StandInSource : NSObject {
@public
    QString *_script;
    CFProxyAutoConfigurationResultCallback _answer;
    CFStreamClientContext _context;
    NSString *_mode;
}
@end

@implementation StandInSource
- (void)dealloc {
    --Mac::shared().openSources;
    delete _script;
    [_mode release];
    [super dealloc];
}
@end

namespace {

StandInSource *addedSource = nil;

} // namespace

CFRunLoopSourceRef CFNetworkExecuteProxyAutoConfigurationURL(CFURLRef script, CFURLRef target,
                                                             CFProxyAutoConfigurationResultCallback answer,
                                                             CFStreamClientContext *context) {
    if (Mac::shared().proxiedUrl != [[bridged<NSURL>(target) absoluteString] UTF8String])
        return nullptr;
    StandInSource *const source = [StandInSource new];
    source->_script = new QString(textOf([bridged<NSURL>(script) absoluteString]));
    source->_answer = answer;
    source->_context = *context;
    // It has to be made invalid and to be released.
    Mac::shared().openSources += 2;
    return reinterpret_cast<CFRunLoopSourceRef>(source);
}

CFRunLoopRef CFRunLoopGetCurrent() {
    return reinterpret_cast<CFRunLoopRef>([NSRunLoop currentRunLoop]);
}

void CFRunLoopAddSource(CFRunLoopRef, CFRunLoopSourceRef source, CFStringRef mode) {
    addedSource = bridged<StandInSource>(source);
    addedSource->_mode = [bridged<NSString>(mode) copy];
}

int CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds, Boolean) {
    Mac &mac = Mac::shared();
    if (addedSource == nil || ![addedSource->_mode isEqualToString:bridged<NSString>(mode)])
        return 1;
    mac.whileWaiting();
    const auto script = mac.proxyScripts.find(*addedSource->_script);
    if (script == mac.proxyScripts.end()) {
        mac.waitedSeconds += seconds;
        return 3;
    }
    const platform::Owned proxies(newList(script->second));
    addedSource->_script->clear();
    addedSource->_answer(addedSource->_context.info, proxies.get(), nullptr);
    return 4;
}

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef) {
    addedSource = nil;
    --Mac::shared().openSources;
}

int standInForGetsockopt(int socket, int level, int name, void *value, socklen_t *size) {
    if (level != SOL_SOCKET || name != SO_NWRITE)
        return ::getsockopt(socket, level, name, value, size);
    return ::ioctl(socket, SIOCOUTQ, value);
}

// --- Log ---

struct os_log_s {
    std::string subsystem;
    std::string category;
};

os_log_t os_log_create(const char *subsystem, const char *category) {
    return new os_log_s{subsystem, category};
}

void standInForLog(os_log_t log, os_log_type_t type, const char *format, NSString *argument) {
    Mac::shared().log.push_back({log->subsystem, log->category, type, format, textOf(argument)});
}

// --- Processes and files ---

int _NSGetExecutablePath(char *buffer, std::uint32_t *size) {
    const std::string path = std::filesystem::read_symlink("/proc/self/exe").native();
    if (*size < path.size() + 1) {
        *size = static_cast<std::uint32_t>(path.size() + 1);
        return -1;
    }
    path.copy(buffer, path.size());
    buffer[path.size()] = '\0';
    return 0;
}

// A queue that is not waited at becomes what tells of its one process.
int kqueue() {
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

int kevent(int queue, const struct kevent *changes, int changeCount, struct kevent *events, int eventCount,
           const struct timespec *) {
    struct pollfd ends[2] = {};
    for (int i = 0; i < changeCount; ++i) {
        if (changes[i].filter != EVFILT_PROC || changes[i].flags != EV_ADD || changes[i].fflags != NOTE_EXIT)
            return -1;
        ends[i] = {static_cast<int>(::syscall(SYS_pidfd_open, changes[i].ident, 0)), POLLIN, 0};
        if (ends[i].fd < 0 && eventCount == 0)
            return -1;
        if (ends[i].fd < 0) {
            events[0] = changes[i];
            events[0].flags = EV_ERROR;
            return 1;
        }
    }
    if (eventCount == 0) {
        const platform::FileDescriptor process(ends[0].fd);
        return ::dup3(process.get(), queue, O_CLOEXEC) == queue ? 0 : -1;
    }
    ::poll(ends, static_cast<nfds_t>(changeCount), -1);
    events[0] = changes[ends[0].revents == 0 ? 1 : 0];
    return 1;
}

int fcopyfile(int from, int to, copyfile_state_t, copyfile_flags_t flags) {
    std::string names(65536, '\0');
    names.resize(
        static_cast<std::size_t>(std::max<ssize_t>(0, ::flistxattr(from, names.data(), names.size()))));
    std::string value(65536, '\0');
    if ((flags & COPYFILE_ACL) != 0)
        ::fremovexattr(to, "system.posix_acl_access");
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        const char *const name = names.c_str() + at;
        const bool isAccessList = std::string_view(name).starts_with("system.posix_acl");
        if ((flags & (isAccessList ? COPYFILE_ACL : COPYFILE_XATTR)) == 0)
            continue;
        const ssize_t size = ::fgetxattr(from, name, value.data(), value.size());
        if (size < 0 || ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0) != 0)
            return -1;
    }
    return 0;
}

namespace {

int withBirth(const char *path, int flags, struct standInStat *status) {
    struct statx more {};
    if (::statx(AT_FDCWD, path, flags, STATX_BTIME, &more) != 0)
        return -1;
    status->st_birthtimespec = {more.stx_btime.tv_sec, more.stx_btime.tv_nsec};
    return ::fstatat(AT_FDCWD, path, status, flags);
}

} // namespace

int standInStat(const char *path, struct standInStat *status) {
    return withBirth(path, 0, status);
}

int standInLstat(const char *path, struct standInStat *status) {
    return withBirth(path, AT_SYMLINK_NOFOLLOW, status);
}
