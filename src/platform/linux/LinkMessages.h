// What the kernel says of the machine's network interfaces (rtnetlink(7)).
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

namespace platform {

class FileDescriptor;

/// The messages that come from this socket until one of them says that it was the last; none on an error, or
/// when the kernel reports one. Waits for them. Any thread.
std::optional<QByteArray> linkMessagesFrom(const FileDescriptor &socket);

/// The hardware addresses in these messages, whole, in lower case, colon-separated: the permanent ones of the
/// interfaces that have one, then the present ones of the others, which may be made up, each in the order of
/// the messages. Loopback, and tunnels, whose address is one of the network, have none. Any thread.
std::vector<QString> hardwareAddressesIn(const QByteArray &messages);

} // namespace platform
