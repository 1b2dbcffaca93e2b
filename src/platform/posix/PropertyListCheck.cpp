#include "platform/posix/PropertyListCheck.h"

#include "platform/posix/PropertyListTally.h"

namespace platform {

bool isSafePropertyList(const QByteArray &bytes) {
    return propertyListFingerprint(bytes).has_value();
}

std::optional<QByteArray> propertyListFingerprint(const QByteArray &bytes) {
    PropertyListTally tally;
    const bool safe =
        bytes.startsWith("bplist") ? walkBinaryPropertyList(bytes, tally) : walkXmlPropertyList(bytes, tally);
    return safe ? std::optional(tally.fingerprint()) : std::nullopt;
}

} // namespace platform
