// One more option of sockets. Written from the manual page getsockopt(2):
// https://developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS/man2/getsockopt.2.html
#pragma once

#include_next <sys/socket.h>

#ifdef __cplusplus
#define SO_NWRITE 0x1024
int standInForGetsockopt(int socket, int level, int name, void *value, socklen_t *size);
#define getsockopt standInForGetsockopt
#endif
