#include "StackMessage.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace spindump {

namespace {

bool readAll(int file, void *place, std::size_t count) {
    auto *at = static_cast<std::byte *>(place);
    while (count > 0) {
        const ssize_t got = ::read(file, at, count);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        at += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace

std::vector<std::byte> encode(MessageKind kind, const Snapshot &snapshot) {
    const MessageHeader header{kind, snapshot.weight, snapshot.stack.size(), snapshot.thread,
                               snapshot.registers};
    std::vector<std::byte> bytes(sizeof header + snapshot.stack.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    if (!snapshot.stack.empty())
        std::memcpy(bytes.data() + sizeof header, snapshot.stack.data(), snapshot.stack.size());
    return bytes;
}

std::optional<Message> readMessage(int pipe) {
    constexpr std::uint64_t largestStack = std::uint64_t{64} << 20;
    MessageHeader header;
    if (!readAll(pipe, &header, sizeof header) || header.stackBytes > largestStack)
        return std::nullopt;
    Message message{header.kind, {static_cast<pid_t>(header.thread), header.weight, header.registers, {}}};
    message.snapshot.stack.resize(header.stackBytes);
    if (!readAll(pipe, message.snapshot.stack.data(), header.stackBytes))
        return std::nullopt;
    return message;
}

} // namespace spindump
