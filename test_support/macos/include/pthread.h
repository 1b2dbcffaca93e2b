// Here this call also takes the thread. Written from the manual page pthread_setname_np(3).
#pragma once

#include_next <pthread.h>

#ifdef __cplusplus
inline int pthread_setname_np(const char *name) {
    return pthread_setname_np(pthread_self(), name);
}
#endif
