// Two more times of a file. Written from the manual page stat(2):
// https://developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS/man2/stat.2.html
#pragma once

#include_next <sys/stat.h>

#ifdef __cplusplus
struct standInStat : stat {
    struct timespec st_birthtimespec;
};
int standInStat(const char *path, struct standInStat *status);
int standInLstat(const char *path, struct standInStat *status);
#define stat standInStat
#define lstat standInLstat
#define st_mtimespec st_mtim
#endif
