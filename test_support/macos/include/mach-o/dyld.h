// Stand-in for the running executable's path. Written from the manual page dyld(3):
// https://developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS/man3/dyld.3.html
#pragma once

#include <cstdint>

extern "C" int _NSGetExecutablePath(char *buffer, std::uint32_t *size);
