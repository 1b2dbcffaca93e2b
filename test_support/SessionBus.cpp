#include "test_support/SessionBus.h"

#include <cstdio>

namespace test_support {

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
    if (waitUntil([&] { return std::filesystem::exists(m_folder.path() / "bus"); }))
        return;
    std::fputs(("The bus does not start: " + m_daemon->standardError()).c_str(), stderr);
    std::abort();
}

} // namespace test_support
