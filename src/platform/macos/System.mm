#include "platform/System.h"

#include "platform/posix/FileSystem.h"

#include <Foundation/Foundation.h>
#include <algorithm>
#include <copyfile.h>
#include <csignal>
#include <mach-o/dyld.h>
#include <pthread.h>
#include <string>
#include <sys/event.h>

namespace platform {

namespace fs = std::filesystem;

fs::path programFolder() {
    return "MacOS";
}

fs::path runningExecutable() {
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    if (_NSGetExecutablePath(path.data(), &size) != 0)
        return {};
    std::error_code error;
    return fs::canonical(path.c_str(), error);
}

// The frameworks use no locks until there has been a thread of their own kind.
void nameThread(const char *name) {
    @autoreleasepool {
        if (![NSThread isMultiThreaded])
            [NSThread detachNewThreadSelector:@selector(class) toTarget:[NSObject class] withObject:nil];
    }
    ::pthread_setname_np(name);
}

// The system has no call that does both: a program that another thread starts in between inherits the pipe.
Pipe openPipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) == 0) {
        for (const int end : ends)
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

namespace {

struct kevent endOfProcess(pid_t process) {
    struct kevent wanted {};
    EV_SET(&wanted, static_cast<uintptr_t>(process), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    return wanted;
}

// Kills the program when its parent ends first. Only system calls: this process is a fork of one with
// threads.
[[noreturn]] void watch(pid_t parent, pid_t program) {
    for (const int request : {SIGTERM, SIGINT, SIGHUP})
        ::signal(request, SIG_IGN);
    constexpr int mostFiles = 65536;
    for (int file = std::min(::getdtablesize(), mostFiles); file >= 0; --file)
        ::close(file);
    const struct kevent wanted[] = {endOfProcess(parent), endOfProcess(program)};
    struct kevent ended {};
    // An error, as when the parent has already ended, comes in the form of an event.
    if (::kevent(::kqueue(), wanted, 2, &ended, 1, nullptr) == 1 && ended.ident == wanted[0].ident)
        ::kill(program, SIGKILL);
    ::_exit(0);
}

} // namespace

FileDescriptor endOf(pid_t child) {
    FileDescriptor queue(::kqueue());
    const struct kevent wanted = endOfProcess(child);
    return ::kevent(queue.get(), &wanted, 1, nullptr, 0, nullptr) == 0 ? std::move(queue) : FileDescriptor();
}

// The system kills no child with its parent, so a process of this program's watches both. It ends with
// either.
bool staysWithParent(pid_t parent) {
    const pid_t program = ::getpid();
    const pid_t watcher = ::fork();
    if (watcher == 0)
        watch(parent, program);
    return watcher > 0 && ::getppid() == parent;
}

struct timespec modificationTime(const struct stat &status) {
    return status.st_mtimespec;
}

bool copyRange(int source, int destination, off_t bytes, std::error_code &error) {
    return copyThroughBuffer(source, destination, bytes, error);
}

bool takeOver(const fs::path &existing, const struct stat &status, int file) {
    const FileDescriptor from(::open(existing.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return ::fchown(file, status.st_uid, status.st_gid) == 0 && ::fchmod(file, status.st_mode & 07777) == 0 &&
           ::fcopyfile(from.get(), file, nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0;
}

std::optional<FileAttributes> fileAttributes(const fs::path &path, std::error_code &error) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        error = systemError();
        return std::nullopt;
    }
    error.clear();
    FileAttributes attributes{.kind = kindOfMode(status.st_mode),
                              .sizeBytes = static_cast<std::uint64_t>(status.st_size),
                              .creationDate = {}};
    if (const struct timespec created = status.st_birthtimespec; created.tv_sec != 0)
        attributes.creationDate = std::chrono::sys_time<std::chrono::nanoseconds>(
            std::chrono::seconds(created.tv_sec) + std::chrono::nanoseconds(created.tv_nsec));
    return attributes;
}

} // namespace platform
