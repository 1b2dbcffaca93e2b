#include "platform/PreferenceStore.h"

#include "platform/macos/Owned.h"

namespace platform {

namespace {

constexpr auto withMutableContainersAndLeaves =
    kCFPropertyListMutableContainers | kCFPropertyListMutableContainersAndLeaves;

std::optional<PropertyList> read(CFPropertyListRef value) {
    const Owned copy(CFPropertyListCreateDeepCopy(nullptr, value, withMutableContainersAndLeaves));
    if (!copy)
        return std::nullopt;
    const Owned data(
        CFPropertyListCreateData(nullptr, copy.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    NSData *const bytes = bridged<NSData>(data.get());
    return PropertyList::parse(
        QByteArray(static_cast<const char *>([bytes bytes]), qsizetype([bytes length])));
}

// A reference to be released by the caller; none when the system has no such value.
CFPropertyListRef createValue(const PropertyList &list) {
    const QByteArray bytes = list.serialized(PropertyListFormat::binary);
    NSData *const data = [NSData dataWithBytes:bytes.constData()
                                        length:static_cast<NSUInteger>(bytes.size())];
    return CFPropertyListCreateWithData(nullptr, reinterpret_cast<CFDataRef>(data),
                                        withMutableContainersAndLeaves, nullptr, nullptr);
}

} // namespace

// The path of the file stands in the place of an application's identifier.
PreferenceChange changePreferenceValue(const std::filesystem::path &file, QAnyStringView key,
                                       const ChangePreference &change) {
    @autoreleasepool {
        const CFStringRef application = bridged(stringOf(file));
        const CFStringRef name = bridged(stringOf(key.toString()));
        const Owned present(CFPreferencesCopyAppValue(name, application));
        auto value = present ? read(present.get()) : std::nullopt;
        if (!value || !change(*value))
            return PreferenceChange::none;
        const Owned changed(createValue(*value));
        if (!changed)
            return PreferenceChange::failed;
        CFPreferencesSetAppValue(name, changed.get(), application);
        return CFPreferencesAppSynchronize(application) ? PreferenceChange::written
                                                        : PreferenceChange::failed;
    }
}

} // namespace platform
