// A message bus of the test's own: the session's bus and the bus of the accessibility services in one, with
// the registry of the latter. It goes with its object.
#pragma once

#include "test_support/BusObject.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

class PrivateBus {
public:
    enum class Accessibility { on, off };

    /// Takes clients, and the registry is there, when it returns. Ends the process when it cannot be had.
    /// Without accessibility it is the session's bus alone.
    explicit PrivateBus(Accessibility accessibility = Accessibility::on);

    const std::string &address() const { return m_address; }
    /// What leads a program to this bus, for both of its purposes.
    std::vector<std::pair<std::string, std::optional<std::string>>> variables() const;

private:
    ScratchFolder m_folder;
    std::unique_ptr<ProgramRun> m_daemon;
    std::string m_address;
    std::unique_ptr<BusObject> m_launcher;
    std::unique_ptr<ProgramRun> m_registry;
};

} // namespace test_support
