// Stand-in for copying a file's attributes. Written from the manual page copyfile(3):
// https://developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS/man3/copyfile.3.html
#pragma once

using copyfile_state_t = struct copyfile_state_s *;
using copyfile_flags_t = unsigned int;
enum : copyfile_flags_t { COPYFILE_ACL = 1, COPYFILE_XATTR = 4 };

extern "C" int fcopyfile(int from, int to, copyfile_state_t state, copyfile_flags_t flags);
