#include "test_support/Isolation.h"

#include "test_support/ProgramRun.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signal.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test_support {

namespace {

bool ownNamespaces = false;

// Nobody that a system knows.
constexpr uid_t userWithoutThreads = 54'321;

void writeText(const char *file, const std::string &text) {
    std::ofstream(file) << text;
}

// As another user than root the namespaces come with a user namespace, in which that user is root.
bool enterNamespaces() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    constexpr int wanted = CLONE_NEWPID | CLONE_NEWNS;
    if (user == 0)
        return ::unshare(wanted) == 0;
    if (::unshare(CLONE_NEWUSER | wanted) != 0)
        return false;
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    return true;
}

void waitForOtherTests() {
    const auto file =
        std::filesystem::temp_directory_path() / ("lumamon-tests-" + std::to_string(::geteuid()) + ".lock");
    const int lock = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock >= 0 && ::flock(lock, LOCK_EX) == 0)
        return;
    std::perror(("Cannot lock " + file.native()).c_str());
    std::_Exit(EXIT_FAILURE);
}

struct Conditional : testing::Test {
    explicit Conditional(void (*function)())
        : body(function) {}
    void TestBody() override { body(); }

    void (*body)();
};

void mountOrAbort(const char *source, const std::filesystem::path &target, const char *type,
                  unsigned long flags, const char *data = nullptr) {
    if (::mount(source, target.c_str(), type, flags, data) == 0)
        return;
    std::perror(("Cannot mount on " + target.native()).c_str());
    std::abort();
}

void require(bool done) {
    if (!done)
        ::_exit(126);
}

} // namespace

void isolate() {
    if (!enterNamespaces())
        return waitForOtherTests();
    const pid_t child = ::fork();
    if (child != 0) {
        const int status = statusOf(child);
        if (status >= 128)
            std::fprintf(stderr, "The test was ended by signal %d.\n", status - 128);
        std::_Exit(status);
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool mounted = ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount("proc", "/proc", "proc", 0, nullptr) == 0;
    if (!mounted) {
        std::perror("The test's own /proc cannot be mounted");
        std::_Exit(EXIT_FAILURE);
    }
    ownNamespaces = true;
}

bool hasOwnNamespaces() {
    return ownNamespaces;
}

bool registerTestIf(bool condition, const char *suite, const char *name, void (*body)()) {
    if (condition)
        testing::RegisterTest(suite, name, nullptr, nullptr, __FILE__, __LINE__,
                              [body]() -> testing::Test * { return new Conditional(body); });
    return condition;
}

Mount Mount::memory(const std::filesystem::path &folder, std::uint64_t bytes) {
    mountOrAbort("none", folder, "tmpfs", 0, ("mode=700,size=" + std::to_string(bytes)).c_str());
    return Mount(folder);
}

Mount Mount::readOnly(const std::filesystem::path &folder) {
    mountOrAbort(folder.c_str(), folder, nullptr, MS_BIND);
    mountOrAbort("none", folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY);
    return Mount(folder);
}

Mount Mount::changeable(const std::filesystem::path &folder, const std::filesystem::path &changes) {
    for (const char *name : {"upper", "work"})
        std::filesystem::create_directory(changes / name);
    std::filesystem::permissions(changes / "upper", std::filesystem::perms(0755));
    const std::string options = "lowerdir=" + folder.native() + ",upperdir=" + (changes / "upper").native() +
                                ",workdir=" + (changes / "work").native();
    mountOrAbort("overlay", folder, "overlay", 0, options.c_str());
    return Mount(folder);
}

Mount Mount::over(const std::filesystem::path &source, const std::filesystem::path &target) {
    mountOrAbort(source.c_str(), target, nullptr, MS_BIND);
    return Mount(target);
}

Mount::~Mount() {
    ::umount2(m_target.c_str(), MNT_DETACH);
}

void enterNoNetwork() {
    require(::unshare(CLONE_NEWNET) == 0);
}

void enterLoopbackNetwork() {
    enterNoNetwork();
    struct ifreq request {};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    require(::ioctl(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), SIOCSIFFLAGS, &request) == 0);
}

void enterLonelyNetwork() {
    enterNoNetwork();
    // The interface lives as long as this descriptor is open, which is as long as the program runs.
    const int tunnel = ::open("/dev/net/tun", O_RDWR);
    struct ifreq request {};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strcpy(request.ifr_name, "lonely0");
    require(tunnel >= 0 && ::ioctl(tunnel, TUNSETIFF, &request) == 0);

    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    auto *address = reinterpret_cast<struct sockaddr_in *>(&request.ifr_addr);
    address->sin_family = AF_INET;
    address->sin_addr.s_addr = htonl(0xC0000202); // 192.0.2.2, from the addresses kept for examples
    require(::ioctl(control, SIOCSIFADDR, &request) == 0);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    require(::ioctl(control, SIOCSIFFLAGS, &request) == 0);
}

// The limit comes last: a user who is beyond it may not start a program.
void enterNoThreads() {
    const struct rlimit onlyThis { 1, 1 };
    require(::setgroups(0, nullptr) == 0 &&
            ::setresgid(userWithoutThreads, userWithoutThreads, userWithoutThreads) == 0 &&
            ::setresuid(userWithoutThreads, userWithoutThreads, userWithoutThreads) == 0 &&
            ::setrlimit(RLIMIT_NPROC, &onlyThis) == 0);
}

void giveToUserWithoutThreads(const std::filesystem::path &folder) {
    const auto give = [](const std::filesystem::path &path) {
        EXPECT_EQ(::lchown(path.c_str(), userWithoutThreads, userWithoutThreads), 0);
    };
    give(folder);
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
        give(entry.path());
}

bool canEnter(void (*place)()) {
    return statusInChild([place] {
               place();
               return 0;
           }) == 0;
}

} // namespace test_support
