// Stand-in for the unified log. Written from the public documentation.
#pragma once

#include <Foundation/Foundation.h>

// https://developer.apple.com/documentation/os/os_log_t
using os_log_t = struct os_log_s *;
// https://developer.apple.com/documentation/os/os_log_type_t
enum os_log_type_t : unsigned char {
    OS_LOG_TYPE_DEFAULT = 0x00,
    OS_LOG_TYPE_INFO = 0x01,
    OS_LOG_TYPE_DEBUG = 0x02,
    OS_LOG_TYPE_ERROR = 0x10
};
extern "C" {
// https://developer.apple.com/documentation/os/os_log_create
os_log_t os_log_create(const char *subsystem, const char *category);
}
void standInForLog(os_log_t log, os_log_type_t type, const char *format, NSString *argument);
// https://developer.apple.com/documentation/os/os_log_with_type; the format is a literal.
#define os_log_with_type(log, type, format, argument) standInForLog(log, type, "" format, argument)
