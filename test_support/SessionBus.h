// A D-Bus session bus of the test's own, without any service but the test's.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScopedEnvironment.h"
#include "test_support/ScratchHome.h"

#include <string>

namespace test_support {

/// The bus that this process takes for the user's from now on: before the first look at that.
class SessionBus {
public:
    SessionBus();

    const std::string &address() const { return m_address; }

private:
    ScratchFolder m_folder;
    std::string m_address = "unix:path=" + (m_folder.path() / "bus").native();
    std::unique_ptr<ProgramRun> m_daemon;
    ScopedEnvironment m_variable{"DBUS_SESSION_BUS_ADDRESS", m_address};
};

} // namespace test_support
