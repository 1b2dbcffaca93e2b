#define FUSE_USE_VERSION 31

#include "test_support/SlowDisk.h"

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace test_support {

struct SlowDisk::Shared {
    std::atomic<int> delayMilliseconds;
    // The number of the first operation that takes no time any more.
    std::atomic<unsigned> end;
    std::atomic<unsigned> count;
    std::atomic<bool> needsAnswers;
    std::atomic<int> answers;
    std::atomic<int> unanswered;
    // Who asked; the oldest are overwritten.
    std::array<std::atomic<pid_t>, 65536> askers;
};

namespace {

// The server's: the folder that the disk hides.
int hidden = -1;

const char *inside(const char *path) {
    return path[1] == '\0' ? "." : path + 1;
}

int answer(ssize_t result) {
    return result < 0 ? -errno : static_cast<int>(result);
}

// The disk's record of who asks, which the test reads, and the time that an operation takes.
void takeTime() {
    auto &shared = *static_cast<SlowDisk::Shared *>(::fuse_get_context()->private_data);
    const unsigned number = shared.count++;
    shared.askers[number % shared.askers.size()] = ::fuse_get_context()->pid;
    if (number >= shared.end)
        return;
    // The first one may have been on its way already.
    const int answers = shared.answers + 2;
    std::this_thread::sleep_for(std::chrono::milliseconds(shared.delayMilliseconds));
    const auto goesOn = [&] { return !shared.needsAnswers || shared.answers >= answers; };
    if (!waitUntil(goesOn, std::chrono::seconds(10)))
        ++shared.unanswered;
}

// One operation: it takes its time, and is then done to what is hidden.
template <auto Operation>
struct Slow;
template <typename... Arguments, int (*Operation)(Arguments...)>
struct Slow<Operation> {
    static int operation(Arguments... arguments) {
        takeTime();
        return Operation(arguments...);
    }
};

int attributes(const char *path, struct stat *status, fuse_file_info *) {
    return answer(::fstatat(hidden, inside(path), status, AT_SYMLINK_NOFOLLOW));
}

int readLink(const char *path, char *target, std::size_t size) {
    const ssize_t length = ::readlinkat(hidden, inside(path), target, size - 1);
    if (length >= 0)
        target[length] = '\0';
    return length < 0 ? -errno : 0;
}

int makeFolder(const char *path, mode_t mode) {
    return answer(::mkdirat(hidden, inside(path), mode));
}

int removeFile(const char *path) {
    return answer(::unlinkat(hidden, inside(path), 0));
}

int removeFolder(const char *path) {
    return answer(::unlinkat(hidden, inside(path), AT_REMOVEDIR));
}

int move(const char *from, const char *to, unsigned flags) {
    return answer(::renameat2(hidden, inside(from), hidden, inside(to), flags));
}

int cut(const char *path, off_t size, fuse_file_info *) {
    const int file = ::openat(hidden, inside(path), O_WRONLY | O_CLOEXEC);
    const int result = answer(::ftruncate(file, size));
    ::close(file);
    return result;
}

int changeMode(const char *path, mode_t mode, fuse_file_info *) {
    return answer(::fchmodat(hidden, inside(path), mode, 0));
}

int changeOwner(const char *path, uid_t user, gid_t group, fuse_file_info *) {
    return answer(::fchownat(hidden, inside(path), user, group, AT_SYMLINK_NOFOLLOW));
}

int setTimes(const char *path, const struct timespec times[2], fuse_file_info *) {
    return answer(::utimensat(hidden, inside(path), times, AT_SYMLINK_NOFOLLOW));
}

int opened(fuse_file_info *file, int descriptor) {
    file->fh = static_cast<std::uint64_t>(descriptor);
    return descriptor < 0 ? -errno : 0;
}

int openFile(const char *path, fuse_file_info *file) {
    return opened(file, ::openat(hidden, inside(path), file->flags | O_CLOEXEC));
}

int createFile(const char *path, mode_t mode, fuse_file_info *file) {
    return opened(file, ::openat(hidden, inside(path), file->flags | O_CREAT | O_CLOEXEC, mode));
}

int readBytes(const char *, char *bytes, std::size_t size, off_t place, fuse_file_info *file) {
    return answer(::pread(static_cast<int>(file->fh), bytes, size, place));
}

int writeBytes(const char *, const char *bytes, std::size_t size, off_t place, fuse_file_info *file) {
    return answer(::pwrite(static_cast<int>(file->fh), bytes, size, place));
}

int closeFile(const char *, fuse_file_info *file) {
    return answer(::close(static_cast<int>(file->fh)));
}

int list(const char *path, void *entries, fuse_fill_dir_t add, off_t, fuse_file_info *, fuse_readdir_flags) {
    DIR *const folder = ::fdopendir(::openat(hidden, inside(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder == nullptr)
        return -errno;
    while (const struct dirent *entry = ::readdir(folder)) {
        struct stat kind {};
        kind.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        add(entries, entry->d_name, &kind, 0, fuse_fill_dir_flags{});
    }
    ::closedir(folder);
    return 0;
}

void *start(fuse_conn_info *, fuse_config *settings) {
    settings->direct_io = 1;
    settings->entry_timeout = settings->attr_timeout = settings->negative_timeout = 0;
    return ::fuse_get_context()->private_data;
}

// Serves the disk until it is killed; gives a status when it cannot.
int serve(const std::filesystem::path &folder, void *shared, int ready) {
    hidden = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fuse_operations operations{};
    operations.init = start;
    operations.getattr = Slow<attributes>::operation;
    operations.readlink = Slow<readLink>::operation;
    operations.mkdir = Slow<makeFolder>::operation;
    operations.unlink = Slow<removeFile>::operation;
    operations.rmdir = Slow<removeFolder>::operation;
    operations.rename = Slow<move>::operation;
    operations.truncate = Slow<cut>::operation;
    operations.chmod = Slow<changeMode>::operation;
    operations.chown = Slow<changeOwner>::operation;
    operations.utimens = Slow<setTimes>::operation;
    operations.open = Slow<openFile>::operation;
    operations.create = Slow<createFile>::operation;
    operations.read = Slow<readBytes>::operation;
    operations.write = Slow<writeBytes>::operation;
    operations.release = Slow<closeFile>::operation;
    operations.readdir = Slow<list>::operation;
    std::array<char, 9> name{"slowdisk"};
    std::array<char *, 2> words{name.data(), nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(1, words.data());
    fuse *const disk = ::fuse_new(&arguments, &operations, sizeof operations, shared);
    if (disk == nullptr || ::fuse_mount(disk, folder.c_str()) != 0)
        return EXIT_FAILURE;
    (void)!::write(ready, "", 1);
    return ::fuse_loop(disk);
}

} // namespace

bool SlowDisk::isPossible() {
    return hasOwnNamespaces() && ::access("/dev/fuse", R_OK | W_OK) == 0;
}

SlowDisk::SlowDisk(const std::filesystem::path &folder)
    : m_folder(folder)
    , m_shared(new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                           0)) Shared()) {
    std::array<int, 2> ready{};
    char byte = 0;
    const bool isOpen = ::pipe2(ready.data(), O_CLOEXEC) == 0;
    m_server = startInChild([&] { return serve(folder, m_shared, ready[1]); });
    ::close(ready[1]);
    if (!isOpen || ::read(ready[0], &byte, 1) != 1) {
        std::fprintf(stderr, "Cannot serve a disk on %s\n", folder.c_str());
        std::abort();
    }
    ::close(ready[0]);
}

// What waits for an answer then gets an error.
SlowDisk::~SlowDisk() {
    ::kill(m_server, SIGKILL);
    statusOf(m_server);
    ::umount2(m_folder.c_str(), MNT_DETACH);
    ::munmap(m_shared, sizeof(Shared));
}

void SlowDisk::setDelay(std::chrono::milliseconds delay, unsigned operations) {
    const unsigned first = m_shared->count;
    m_shared->delayMilliseconds = static_cast<int>(delay.count());
    m_shared->needsAnswers = false;
    m_shared->end = operations > ~0U - first ? ~0U : first + operations;
}

void SlowDisk::setDelayUntilAnswered(std::chrono::milliseconds delay, unsigned operations) {
    setDelay(delay, operations);
    m_shared->needsAnswers = true;
}

void SlowDisk::answer() {
    ++m_shared->answers;
}

int SlowDisk::unanswered() const {
    return m_shared->unanswered;
}

void SlowDisk::stopAnswering() const {
    ::kill(m_server, SIGSTOP);
    // What it has taken on before, nobody can be freed from that waits for it.
    const auto stat = "/proc/" + std::to_string(m_server) + "/stat";
    waitUntil([&] { return readFile(stat).contains(") T "); });
}

int SlowDisk::operationsOf(pid_t thread) const {
    return static_cast<int>(
        std::ranges::count_if(m_shared->askers, [thread](const auto &asker) { return asker == thread; }));
}

} // namespace test_support
