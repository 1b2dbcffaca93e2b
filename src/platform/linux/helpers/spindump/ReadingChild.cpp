#include "ReadingChild.h"

#include "BundleText.h"
#include "CallTree.h"
#include "Modules.h"
#include "StackMessage.h"
#include "Symbols.h"
#include "TreeText.h"
#include "Unwinder.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <map>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace spindump {

namespace {

// As the child's own data stands now, and so much more. Mapped files do not count.
void limitMemory(std::size_t moreBytes) {
    const auto status = contentIn(AT_FDCWD, "/proc/self/status");
    const auto data = status.value ? statusField(*status.value, "VmData") : std::nullopt;
    const rlim_t now = data ? std::strtoull(data->c_str(), nullptr, 10) * 1024 : 0;
    const struct rlimit limit { now + moreBytes, now + moreBytes };
    ::setrlimit(RLIMIT_DATA, &limit);
}

void beModest(const ReadingChannels &channels, const Limits &limits) {
    constexpr rlim_t resultBytes = rlim_t{64} << 20;
    constexpr int lowerPriority = 5;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != channels.parent)
        ::_exit(EXIT_FAILURE);
    (void)!::nice(lowerPriority);
    const struct rlimit none { 0, 0 };
    const struct rlimit result { resultBytes, resultBytes };
    ::setrlimit(RLIMIT_CORE, &none);
    ::setrlimit(RLIMIT_FSIZE, &result);
    limitMemory(limits.readerMemoryBytes);
}

void leave(int result, const std::string &kind, pid_t number, const std::string &text) {
    const std::string piece =
        kind + ' ' + std::to_string(number) + ' ' + std::to_string(text.size()) + '\n' + text;
    for (std::size_t at = 0; at < piece.size();) {
        const ssize_t count = ::write(result, piece.data() + at, piece.size() - at);
        if (count <= 0)
            ::_exit(EXIT_FAILURE);
        at += static_cast<std::size_t>(count);
    }
}

// The trees of all threads, growing with each message.
class Reading {
public:
    Reading(Modules &modules, const Limits &limits)
        : m_unwinder(modules, limits.frames, limits.stackBytes)
        , m_room(limits.treeNodes) {}

    void take(const Message &message) {
        const Snapshot &snapshot = message.snapshot;
        Thread &thread = m_threads[snapshot.thread];
        if (message.kind == MessageKind::snapshot)
            thread.lastStack = m_unwinder.unwind(snapshot);
        thread.tree.add(thread.lastStack, snapshot.weight, m_room);
    }

    void leaveTrees(int result, Symbols &symbols, const Limits &limits) const {
        for (const auto &[id, thread] : m_threads)
            leave(result, "thread", id, treeText(thread.tree, symbols, limits.linesPerThread));
    }

private:
    struct Thread {
        CallTree tree;
        UnwoundStack lastStack;
    };
    Unwinder m_unwinder;
    std::size_t m_room;
    std::map<pid_t, Thread> m_threads;
};

int read(const ReadingChannels &channels, const Target &target, const Limits &limits) {
    Modules modules(target.mappings(), target.memory(), target.root(), limits.libraries);
    Reading reading(modules, limits);
    const std::string bundle = bundleText(target.executable().value.value_or(""));
    for (;;) {
        const auto message = readMessage(channels.pipe);
        if (!message)
            return EXIT_FAILURE;
        if (message->kind == MessageKind::end)
            break;
        reading.take(*message);
    }
    leave(channels.result, "bundle", 0, bundle);
    leave(channels.result, "libraries", 0, modules.text());
    Symbols symbols(modules, limits.reading / 3);
    reading.leaveTrees(channels.result, symbols, limits);
    return EXIT_SUCCESS;
}

} // namespace

void runReadingChild(const ReadingChannels &channels, const Target &target, const Limits &limits) {
    beModest(channels, limits);
    try {
        ::_exit(read(channels, target, limits));
    } catch (const std::exception &) {
        ::_exit(EXIT_FAILURE);
    }
}

} // namespace spindump
