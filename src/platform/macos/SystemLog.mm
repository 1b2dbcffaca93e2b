#include "platform/SystemLog.h"

#include "platform/macos/Owned.h"

#include <os/log.h>

namespace platform {

namespace {

os_log_type_t typeOf(OSLogType type) {
    switch (type) {
    case OSLogType::debug:
        return OS_LOG_TYPE_DEBUG;
    case OSLogType::info:
        return OS_LOG_TYPE_INFO;
    case OSLogType::error:
        break;
    }
    return OS_LOG_TYPE_ERROR;
}

} // namespace

// The program has one subsystem and one category, and its log object lasts as long as it does. The system
// keeps the label, as a part of the format, also where it hides the text.
void SystemLog::send(const QString &subsystem, const QString &category, OSLogType type, const QString &text) {
    static os_log_t const log = os_log_create(subsystem.toUtf8().constData(), category.toUtf8().constData());
    @autoreleasepool {
        const auto after = [&](QByteArrayView label) { return stringOf(text.sliced(label.size())); };
        if (text.startsWith(u"INFO: "))
            os_log_with_type(log, typeOf(type), "INFO: %@", after("INFO: "));
        else if (text.startsWith(u"ERROR: "))
            os_log_with_type(log, typeOf(type), "ERROR: %@", after("ERROR: "));
        else if (text.startsWith(u"WARNING: "))
            os_log_with_type(log, typeOf(type), "WARNING: %@", after("WARNING: "));
        else
            os_log_with_type(log, typeOf(type), "%@", stringOf(text));
    }
}

// The system takes each line at once.
bool SystemLog::flush(std::chrono::milliseconds) {
    return true;
}

} // namespace platform
