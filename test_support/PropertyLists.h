// Property lists for tests.
#pragma once

#include "platform/posix/PropertyList.h"

#include <QByteArray>
#include <gtest/gtest.h>

namespace test_support {

/// The bytes of an XML property list around one value.
inline QByteArray xmlList(const QByteArray &value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           value + "\n</plist>\n";
}

/// The value that is written so in XML.
inline platform::PropertyList propertyList(const QByteArray &value) {
    auto list = platform::PropertyList::parse(xmlList(value));
    EXPECT_TRUE(list) << value.constData();
    return list.value_or(platform::PropertyList::dictionary());
}

} // namespace test_support
