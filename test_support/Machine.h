// What the tests of the neutral platform headers need of the machine, in the same words on every system: each
// system has its own way to do it.
#pragma once

#include "test_support/ScratchHome.h"

#include <QString>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

/// A machine with its own home folder, as long as the object lives.
class Machine {
public:
    Machine();
    ~Machine();

    const std::filesystem::path &home() const { return m_home.path(); }
    /// The user's folders below it.
    std::filesystem::path library() const;
    std::filesystem::path caches() const;

    /// Installs an application where the system finds it; gives its bundle.
    std::filesystem::path install(const QString &identifier);

    struct Application {
        std::int64_t processIdentifier = 0;
        std::filesystem::path bundle;
    };
    /// Starts an application.
    Application run(const QString &identifier);
    /// Ends all that were started.
    void endApplications();

    /// Gives it network interfaces with these hardware addresses, in this order, and no other ones.
    void setHardwareAddresses(const std::vector<std::string> &addresses);

    struct LogLine {
        std::string subsystem;
        std::string category;
        /// "debug", "info" or "error".
        std::string type;
        std::string text;
        friend bool operator==(const LogLine &, const LogLine &) = default;
    };
    /// The next line of the system's log; none when none comes.
    std::optional<LogLine> nextLogLine();

private:
    struct State;
    ScratchHome m_home;
    std::unique_ptr<State> m_state;
};

} // namespace test_support
