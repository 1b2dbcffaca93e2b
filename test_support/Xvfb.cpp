#include "test_support/Xvfb.h"

#include "test_support/Isolation.h"

#include <cstdio>
#include <cstdlib>

namespace test_support {

Xvfb::Xvfb(DisplaySize size)
    : m_size(size) {
    ProgramOptions options{
        .program = "/usr/bin/Xvfb",
        .arguments = {"-displayfd", "1", "-screen", "0",
                      std::to_string(size.width) + "x" + std::to_string(size.height) + "x24", "-dpi", "96",
                      "-nolisten", "tcp", "-noreset"}};
    // The name of a display is taken by its socket, which all processes of the machine see; its lock file
    // tells of a process by number, which means another one in another namespace.
    if (hasOwnNamespaces())
        options.arguments.emplace_back("-nolock");
    m_server = std::make_unique<ProgramRun>(options);
    std::string number;
    const bool isUp = waitUntil(
        [&] {
            number = m_server->standardOutput();
            return number.ends_with('\n') || !m_server->isRunning();
        },
        std::chrono::seconds(30));
    if (!isUp || !number.ends_with('\n')) {
        std::fprintf(stderr, "Xvfb does not start: %s\n", m_server->standardError().c_str());
        std::abort();
    }
    number.pop_back();
    m_name = ":" + number;
}

} // namespace test_support
