// Property lists for tests, as bytes.
#pragma once

#include <QByteArray>

namespace test_support {

/// An XML property list around one value, in the layout that the library writes.
inline QByteArray xmlList(const QByteArray &value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           value + "\n</plist>\n";
}

} // namespace test_support
