#include "platform/Desktop.h"

#include "platform/macos/Owned.h"

#include <AppKit/AppKit.h>
#include <CoreServices/CoreServices.h>
#include <QStringList>
#include <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

// What the system tells of a change, as C++.
@interface LumamonObserver : NSObject {
@public
    const std::function<void()> *_changed;
}
@end

@implementation LumamonObserver

- (void)observeValueForKeyPath:(NSString *)path
                      ofObject:(id)object
                        change:(NSDictionary *)change
                       context:(void *)context {
    (*_changed)();
}

- (void)handleReopen:(NSAppleEventDescriptor *)event withReply:(NSAppleEventDescriptor *)reply {
    (*_changed)();
}

@end

namespace platform {

namespace {

// The number of the pasteboard's content that this program put there.
NSInteger ownChange = -1;

NSString *const appearanceKey = @"effectiveAppearance";

ColorScheme schemeOf(NSAppearance *appearance) {
    NSArray *const known = [NSArray arrayWithObjects:NSAppearanceNameAqua, NSAppearanceNameDarkAqua, nil];
    NSString *const best = [appearance bestMatchFromAppearancesWithNames:known];
    return [best isEqualToString:NSAppearanceNameDarkAqua] ? ColorScheme::dark : ColorScheme::light;
}

NSArray *contentTypes(const QStringList &extensions) {
    NSMutableArray *const types = [NSMutableArray array];
    for (const QString &extension : extensions) {
        if (UTType *const type = [UTType typeWithFilenameExtension:stringOf(extension)])
            [types addObject:type];
    }
    return types;
}

} // namespace

void revealFolder(const std::filesystem::path &folder, const std::function<void()> &failed) {
    @autoreleasepool {
        if (![[NSWorkspace sharedWorkspace] selectFile:nil inFileViewerRootedAtPath:stringOf(folder)])
            failed();
    }
}

void openLink(const QByteArray &link, const std::function<void()> &failed) {
    @autoreleasepool {
        NSURL *const url = [NSURL URLWithString:stringOf(QString::fromUtf8(link))];
        if (url == nil || ![[NSWorkspace sharedWorkspace] openURL:url])
            failed();
    }
}

void setPasteboardText(const QString &text) {
    @autoreleasepool {
        NSPasteboard *const pasteboard = [NSPasteboard generalPasteboard];
        ownChange = [pasteboard declareTypes:[NSArray arrayWithObject:NSPasteboardTypeString] owner:nil];
        [pasteboard setString:stringOf(text) forType:NSPasteboardTypeString];
    }
}

bool ownsPasteboard() {
    @autoreleasepool {
        return [[NSPasteboard generalPasteboard] changeCount] == ownChange;
    }
}

class FileChooser::Request {
public:
    Request(const QString &title, const QStringList &extensions, std::function<void(Files)> chosen)
        : m_panel([[NSOpenPanel openPanel] retain])
        , m_chosen(std::make_shared<std::function<void(Files)>>(std::move(chosen))) {
        NSOpenPanel *const panel = m_panel.get();
        [panel setMessage:stringOf(title)];
        [panel setCanChooseDirectories:NO];
        [panel setAllowsMultipleSelection:YES];
        [panel setAllowedContentTypes:contentTypes(extensions)];
        const auto answer = m_chosen;
        [panel beginWithCompletionHandler:^(NSInteger response) {
          std::vector<std::filesystem::path> files;
          for (NSURL *url in response == NSModalResponseOK ? [panel URLs] : [NSArray array])
              files.push_back(pathOf(url));
          if (const auto take = std::exchange(*answer, nullptr))
              take(std::move(files));
        }];
    }

    ~Request() {
        if (std::exchange(*m_chosen, nullptr))
            [m_panel.get() cancel:nil];
    }

private:
    const Owned<NSOpenPanel *> m_panel;
    // Shared with the panel, which may answer after this object has gone.
    const std::shared_ptr<std::function<void(Files)>> m_chosen;
};

FileChooser::FileChooser(const QString &title, const QString & /*kind*/, const QStringList &extensions,
                         std::function<void(Files)> chosen) {
    @autoreleasepool {
        m_request = std::make_unique<Request>(title, extensions, std::move(chosen));
    }
}

FileChooser::~FileChooser() = default;

class Appearance::Watcher {
public:
    explicit Watcher(std::function<void(ColorScheme)> changed)
        : m_take([this, changed = std::move(changed)] {
            const ColorScheme scheme = schemeOf([m_application effectiveAppearance]);
            if (std::exchange(m_shown, scheme) != scheme)
                changed(scheme);
        }) {
        m_observer.get()->_changed = &m_take;
        [m_application addObserver:m_observer.get() forKeyPath:appearanceKey options:0 context:nullptr];
        m_take();
    }

    ~Watcher() {
        @autoreleasepool {
            [m_application removeObserver:m_observer.get() forKeyPath:appearanceKey];
        }
    }

private:
    NSApplication *const m_application = [NSApplication sharedApplication];
    const Owned<LumamonObserver *> m_observer{[LumamonObserver new]};
    std::optional<ColorScheme> m_shown;
    const std::function<void()> m_take;
};

Appearance::Appearance(std::function<void(ColorScheme)> changed) {
    @autoreleasepool {
        m_watcher = std::make_unique<Watcher>(std::move(changed));
    }
}

Appearance::~Appearance() = default;

// For the life of the process, and in place of the system's own answer, which knows no window to open.
void onReopen(const QString & /*identifier*/, std::function<void()> reopen) {
    @autoreleasepool {
        LumamonObserver *const observer = [LumamonObserver new];
        observer->_changed = new std::function<void()>(std::move(reopen));
        [[NSAppleEventManager sharedAppleEventManager] setEventHandler:observer
                                                           andSelector:@selector(handleReopen:withReply:)
                                                         forEventClass:kCoreEventClass
                                                            andEventID:kAEReopenApplication];
    }
}

bool outlivesItsWindow() {
    return true;
}

bool hasDefaultWindowSize() {
    @autoreleasepool {
        return
            [[NSProcessInfo processInfo] isOperatingSystemAtLeastVersion:NSOperatingSystemVersion{13, 0, 0}];
    }
}

} // namespace platform
