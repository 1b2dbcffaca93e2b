#include "platform/posix/Process.h"

#include "platform/System.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <algorithm>
#include <csignal>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

constexpr unsigned patienceSeconds = 2;
constexpr int requests[] = {SIGTERM, SIGINT, SIGHUP};

// The signal handler, which may do next to nothing, writes here what the event loop reads. Never closed.
int requestEnd = -1;

void takeRequest(int) {
    for (const int request : requests) {
        if (struct sigaction current{};
            ::sigaction(request, nullptr, &current) == 0 && current.sa_handler == takeRequest)
            std::signal(request, SIG_DFL);
    }
    stopPrograms();
    // The main thread may be waiting for a disk that does not answer.
    ::alarm(patienceSeconds);
    (void)!::write(requestEnd, "", 1);
}

// What the alarm's handler needs, which may do next to nothing. Changed only while no alarm is set, and never
// destroyed.
struct AlarmEnd {
    int status = 0;
    QByteArray line;
    FileDescriptor file;

    static AlarmEnd &shared() {
        static AlarmEnd &end = *new AlarmEnd;
        return end;
    }
};

void endOnAlarm(int) {
    const AlarmEnd &end = AlarmEnd::shared();
    (void)!::write(end.file.get(), end.line.constData(), static_cast<std::size_t>(end.line.size()));
    endProcess(end.status);
}

[[noreturn]] void endOnUncaughtException() {
    try {
        if (std::current_exception())
            throw;
    } catch (const std::bad_alloc &) {
        fatal("There is not enough memory.");
    } catch (const std::exception &error) {
        fatal(error.what());
    } catch (...) {
    }
    fatal("The program cannot go on.");
}

} // namespace

void prepareProcess() {
    ::umask(S_IRWXG | S_IRWXO);
    std::set_terminate(endOnUncaughtException);
    std::signal(SIGPIPE, SIG_IGN);
    // The write fails in its place. Also in the programs that are started, which can then say so.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
    // A product may start this program with its standard streams closed. The next file opened would take
    // their place, and what is meant for the terminal would end up in that file.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR);
    }
}

std::thread startThread(const char *name, std::function<void()> work) {
    try {
        return std::thread([name, work = std::move(work)] {
            nameThread(name);
            work();
        });
    } catch (const std::exception &) {
        return {};
    }
}

bool hasRoomFor(int threads, int descriptors, std::size_t addressBytes) {
    void *const addresses = ::mmap(nullptr, addressBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (addresses == MAP_FAILED)
        return false;
    ::munmap(addresses, addressBytes);
    std::vector<FileDescriptor> files;
    for (int i = 0; i < descriptors; ++i) {
        files.emplace_back(::dup(STDIN_FILENO));
        if (!files.back())
            return false;
    }
    files.clear();
    std::vector<std::thread> waiting;
    std::mutex end;
    {
        const std::lock_guard lock(end);
        for (int i = 0; i < threads; ++i)
            waiting.push_back(startThread("Room", [&end] { const std::lock_guard ended(end); }));
    }
    bool hasThreads = true;
    for (std::thread &thread : waiting) {
        hasThreads = hasThreads && thread.joinable();
        if (thread.joinable())
            thread.join();
    }
    return hasThreads;
}

void endProcessOnAlarm(std::chrono::milliseconds time, int status, const QByteArray &line,
                       const std::filesystem::path &file) {
    const auto setTimer = [](std::chrono::milliseconds in) {
        const auto microseconds = std::chrono::microseconds(in).count();
        const struct itimerval once {
            {0, 0}, { microseconds / 1'000'000, microseconds % 1'000'000 }
        };
        ::setitimer(ITIMER_REAL, &once, nullptr);
    };
    setTimer(std::chrono::milliseconds(0));
    AlarmEnd::shared() = {
        status, line,
        FileDescriptor(file.empty() ? -1 : ::open(file.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC))};
    std::signal(SIGALRM, endOnAlarm);
    setTimer(time);
}

std::filesystem::path executablePath(const QStringList &arguments) {
    auto first = pathFromText(arguments.value(0));
    return first.is_absolute() ? first : runningExecutable();
}

void onTerminationRequest(std::function<void()> end) {
    Pipe pipe = openPipe();
    if (programsAreStopped() || !pipe)
        return;
    requestEnd = pipe.writeEnd.release();
    auto *const notifier =
        new QSocketNotifier(pipe.readEnd.release(), QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, end = std::move(end)] {
        notifier->setEnabled(false);
        end();
    });
    for (const int request : requests) {
        struct sigaction current {};
        if (::sigaction(request, nullptr, &current) != 0 || current.sa_handler == SIG_IGN)
            continue;
        struct sigaction wanted {};
        wanted.sa_handler = takeRequest;
        wanted.sa_flags = SA_RESTART;
        ::sigaction(request, &wanted, nullptr);
    }
}

} // namespace platform
