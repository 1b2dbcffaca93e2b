// The system's objects in C++: who owns them, and their texts and paths. There is no automatic reference
// counting. Any thread; what is returned as an object lasts until the caller's autorelease pool ends.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>
#include <QString>
#include <filesystem>
#include <utility>

namespace platform {

/// Owns an object, or none, that came from a function or method with Create, Copy, alloc or new in its name.
template <typename Reference>
class Owned {
public:
    explicit Owned(Reference reference)
        : m_reference(reference) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() {
        if (m_reference != nullptr)
            CFRelease(reinterpret_cast<CFTypeRef>(m_reference));
    }

    Reference get() const { return m_reference; }
    explicit operator bool() const { return m_reference != nullptr; }

private:
    Reference m_reference;
};

/// The Objective-C class of the same kind, such as NSArray for a CFArrayRef.
template <typename Object>
Object *bridged(CFTypeRef reference) {
    return static_cast<Object *>(const_cast<void *>(reference));
}

inline CFStringRef bridged(NSString *text) {
    return reinterpret_cast<CFStringRef>(text);
}

/// Empty for none.
inline QString textOf(NSString *text) {
    QString result(qsizetype([text length]), Qt::Uninitialized);
    [text getCharacters:reinterpret_cast<unichar *>(result.data()) range:NSMakeRange(0, [text length])];
    return result;
}

inline NSString *stringOf(const QString &text) {
    return [NSString stringWithCharacters:reinterpret_cast<const unichar *>(text.utf16())
                                   length:static_cast<NSUInteger>(text.size())];
}

/// Empty for none.
inline std::filesystem::path pathOf(NSURL *url) {
    return url == nil ? "" : [[url path] fileSystemRepresentation];
}

inline NSString *stringOf(const std::filesystem::path &path) {
    return [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.c_str()
                                                                       length:path.native().size()];
}

} // namespace platform
