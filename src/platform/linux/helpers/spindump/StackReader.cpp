#include "StackReader.h"

#include "ReadingChild.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace spindump {

namespace {

// One piece of what the child left: "kind number bytes\n" and so many bytes.
struct Piece {
    std::string_view kind;
    long number = 0;
    std::string_view text;
};

bool parse(std::string_view word, long &value) {
    const auto [stopped, failure] = std::from_chars(word.data(), word.data() + word.size(), value);
    return failure == std::errc() && stopped == word.data() + word.size() && value >= 0;
}

std::optional<Piece> takePiece(std::string_view &rest) {
    Piece piece;
    long size = 0;
    const std::size_t line = rest.find('\n');
    const std::size_t first = rest.find(' ');
    const std::size_t second = first < line ? rest.find(' ', first + 1) : line;
    if (line == std::string_view::npos || second >= line)
        return std::nullopt;
    piece.kind = rest.substr(0, first);
    if (!parse(rest.substr(first + 1, second - first - 1), piece.number) ||
        !parse(rest.substr(second + 1, line - second - 1), size) ||
        rest.size() - line - 1 < static_cast<std::size_t>(size))
        return std::nullopt;
    piece.text = rest.substr(line + 1, static_cast<std::size_t>(size));
    rest.remove_prefix(line + 1 + static_cast<std::size_t>(size));
    return piece;
}

std::string describe(int status) {
    if (WIFSIGNALED(status))
        return std::string("the reader of stacks was ended by signal ") + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return "the reader of stacks failed";
    return {};
}

} // namespace

StackReader::~StackReader() {
    kill({});
    while (m_process != 0) {
        int status = 0;
        if (::waitpid(m_process, &status, 0) == m_process || errno != EINTR)
            m_process = 0;
    }
}

bool StackReader::start(const Target &target, const Limits &limits, std::string &error) {
    constexpr int pipeBytes = 1 << 20;
    int ends[2];
    m_result = platform::FileDescriptor(::memfd_create("stacks", MFD_CLOEXEC));
    if (!m_result || ::pipe2(ends, O_CLOEXEC) != 0) {
        error = std::string("no pipe: ") + std::strerror(errno);
        return false;
    }
    const platform::FileDescriptor readEnd(ends[0]);
    m_pipe = platform::FileDescriptor(ends[1]);
    ::fcntl(m_pipe.get(), F_SETPIPE_SZ, pipeBytes);
    ::fcntl(m_pipe.get(), F_SETFL, O_NONBLOCK);
    const pid_t parent = ::getpid();
    m_process = ::fork();
    if (m_process == 0) {
        // The end of the pipe is its last writer's end.
        m_pipe = platform::FileDescriptor();
        runReadingChild({.pipe = readEnd.get(), .result = m_result.get(), .parent = parent}, target, limits);
    }
    if (m_process < 0) {
        m_process = 0;
        error = std::string("no further process: ") + std::strerror(errno);
        return false;
    }
    return true;
}

void StackReader::enqueue(MessageKind kind, const Snapshot &message) {
    if (hasEnded())
        return;
    m_backlog.push_back(encode(kind, message));
    m_backlogBytes += m_backlog.back().size();
    flush();
}

void StackReader::send(const Snapshot &snapshot) {
    enqueue(MessageKind::snapshot, snapshot);
}

void StackReader::sendRepeat(pid_t thread, std::uint32_t weight) {
    enqueue(MessageKind::repeat, {thread, weight, {}, {}});
}

void StackReader::sendEnd() {
    enqueue(MessageKind::end, {});
}

void StackReader::flush() {
    while (!m_backlog.empty()) {
        const auto &first = m_backlog.front();
        const ssize_t count =
            ::write(m_pipe.get(), first.data() + m_firstOffset, first.size() - m_firstOffset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return;
        if (count < 0) {
            // Nobody reads any more; the child's end tells why.
            m_backlog.clear();
            m_backlogBytes = m_firstOffset = 0;
            return;
        }
        m_firstOffset += static_cast<std::size_t>(count);
        if (m_firstOffset == first.size()) {
            m_backlogBytes -= first.size();
            m_firstOffset = 0;
            m_backlog.pop_front();
        }
    }
}

void StackReader::noteEnd(pid_t process, int status) {
    if (process != m_process || m_process == 0)
        return;
    m_process = 0;
    if (m_failure.empty())
        m_failure = describe(status);
}

void StackReader::kill(const std::string &reason) {
    if (m_process == 0)
        return;
    ::kill(m_process, SIGKILL);
    m_failure = reason;
}

ReadStacks StackReader::result() const {
    constexpr std::size_t limitBytes = std::size_t{96} << 20;
    ReadStacks stacks;
    stacks.failure = m_failure;
    const auto content = contentOf(m_result.get(), limitBytes);
    std::string_view rest = content.value ? std::string_view(*content.value) : std::string_view();
    while (const auto piece = takePiece(rest)) {
        if (piece->kind == "thread")
            stacks.trees.emplace(static_cast<pid_t>(piece->number), piece->text);
        else if (piece->kind == "bundle")
            stacks.bundle = piece->text;
        else if (piece->kind == "libraries")
            stacks.libraries = piece->text;
    }
    return stacks;
}

} // namespace spindump
