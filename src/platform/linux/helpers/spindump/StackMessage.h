// What goes through the pipe to the reading child: a header, followed by the copied stack.
#pragma once

#include "Snapshot.h"

#include <optional>

namespace spindump {

enum class MessageKind : std::uint32_t { snapshot, repeat, end };

struct MessageHeader {
    MessageKind kind = MessageKind::end;
    std::uint32_t weight = 0;
    std::uint64_t stackBytes = 0;
    std::int64_t thread = 0;
    Registers registers{};
};

std::vector<std::byte> encode(MessageKind kind, const Snapshot &snapshot);

struct Message {
    MessageKind kind = MessageKind::end;
    Snapshot snapshot;
};

/// The next message; none at the end of the pipe, or when what comes is no message. Waits.
std::optional<Message> readMessage(int pipe);

} // namespace spindump
