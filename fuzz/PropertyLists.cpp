// What is read as a property list is written and read again as the same value, in both formats.
#include "fuzz/Harness.h"
#include "platform/posix/PropertyList.h"

using platform::PropertyList;

void tryInput(const QByteArray &bytes) {
    const auto list = PropertyList::parse(bytes);
    if (!list)
        return;
    for (const auto format : {platform::PropertyListFormat::xml, platform::PropertyListFormat::binary}) {
        const QByteArray written = list->serialized(format);
        require(!written.isEmpty() || format != PropertyList::format(bytes), "what was read can be written");
        if (written.isEmpty())
            continue;
        const auto again = PropertyList::parse(written);
        require(again && *again == *list, "what was written reads as the same value");
        require(again->serialized(format) == written, "writing a second time gives the same bytes");
    }
}
