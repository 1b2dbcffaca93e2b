#include "test_support/SessionBus.h"

#include "platform/posix/FileDescriptor.h"

#include <cstdio>
#include <sys/socket.h>
#include <sys/un.h>

namespace test_support {

namespace {

bool isListening(const std::filesystem::path &path) {
    const platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof address.sun_path - 1);
    return ::connect(socket.get(), reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0;
}

} // namespace

// A configuration of its own: the system's would start the services of whoever runs the tests.
SessionBus::SessionBus() {
    writeFile(m_folder.path() / "bus.conf",
              "<busconfig><type>session</type><listen>" + QByteArray::fromStdString(m_address) +
                  "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
                  "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
    m_daemon = std::make_unique<ProgramRun>(
        ProgramOptions{.program = "/usr/bin/dbus-daemon",
                       .arguments = {"--nofork", "--nopidfile",
                                     "--config-file=" + (m_folder.path() / "bus.conf").native()}});
    if (waitUntil([&] { return isListening(m_folder.path() / "bus"); }))
        return;
    std::fputs(("The bus does not start: " + m_daemon->standardError()).c_str(), stderr);
    std::abort();
}

} // namespace test_support
