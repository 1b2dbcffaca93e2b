// Stand-in for waiting for a process's end. Written from the manual page kqueue(2):
// https://developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS/man2/kqueue.2.html
#pragma once

#include <cstdint>
#include <ctime>

struct kevent {
    std::uintptr_t ident;
    std::int16_t filter;
    std::uint16_t flags;
    std::uint32_t fflags;
    std::intptr_t data;
    void *udata;
};
constexpr std::int16_t EVFILT_PROC = -5;
constexpr std::uint16_t EV_ADD = 1;
constexpr std::uint16_t EV_ERROR = 0x4000;
constexpr std::uint32_t NOTE_EXIT = 0x80000000U;
#define EV_SET(event, ...) (*(event) = {__VA_ARGS__})

extern "C" {
int kqueue();
int kevent(int queue, const struct kevent *changes, int changeCount, struct kevent *events, int eventCount,
           const struct timespec *timeout);
}
