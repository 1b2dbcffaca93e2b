#include "test_support/Machine.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/StandIns.h"
#include "test_support/TestMachine.h"

#include <QMap>
#include <cstring>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace test_support {

namespace fs = std::filesystem;

struct Machine::State {
    std::optional<FakeJournal> journal;
    std::vector<std::unique_ptr<ProgramRun>> applications;
    int started = 0;
};

Machine::Machine()
    : m_state(std::make_unique<State>()) {
    if (hasOwnNamespaces())
        m_state->journal.emplace();
}

Machine::~Machine() = default;

fs::path Machine::library() const {
    return m_home.library();
}

fs::path Machine::caches() const {
    return m_home.caches();
}

fs::path Machine::install(const QString &identifier) {
    fs::path bundle = home() / "Applications" / (identifier.toStdString() + ".app");
    makeBundle(bundle, identifier.toUtf8());
    return bundle;
}

Machine::Application Machine::run(const QString &identifier) {
    const fs::path bundle = home() / (identifier.toStdString() + std::to_string(++m_state->started) + ".app");
    const fs::path program = makeBundle(bundle, identifier.toUtf8());
    auto &run = m_state->applications.emplace_back(std::make_unique<ProgramRun>(
        ProgramOptions{.program = program, .arguments = {"1000"}, .name = "sleep"}));
    const fs::path link = "/proc/" + std::to_string(run->processId()) + "/exe";
    // The kernel counts a process's start in hundredths of a second.
    EXPECT_TRUE(waitUntil([&] {
        std::error_code error;
        return fs::read_symlink(link, error) == program;
    }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return {run->processId(), bundle};
}

void Machine::endApplications() {
    m_state->applications.clear();
}

// A bridge without ports is the one kind of interface that every Linux can make.
void Machine::setHardwareAddresses(const std::vector<std::string> &addresses) {
    ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
    const platform::FileDescriptor control(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        struct ifreq setting {};
        std::strcpy(setting.ifr_name, ("test" + std::to_string(addresses.size() - i)).c_str());
        ASSERT_EQ(::ioctl(control.get(), SIOCBRADDBR, setting.ifr_name), 0);
        const QByteArray octets =
            QByteArray::fromHex(QByteArray::fromStdString(addresses[i]).replace(":", ""));
        setting.ifr_hwaddr.sa_family = ARPHRD_ETHER;
        std::memcpy(setting.ifr_hwaddr.sa_data, octets.constData(), std::size_t(octets.size()));
        ASSERT_EQ(::ioctl(control.get(), SIOCSIFHWADDR, &setting), 0);
    }
}

std::optional<Machine::LogLine> Machine::nextLogLine() {
    const auto fields = m_state->journal ? m_state->journal->next() : std::nullopt;
    if (!fields)
        return std::nullopt;
    const std::map<QByteArray, std::string> types{{"7", "debug"}, {"6", "info"}, {"3", "error"}};
    const auto type = types.find(fields->value("PRIORITY"));
    return LogLine{fields->value("SUBSYSTEM").toStdString(), fields->value("CATEGORY").toStdString(),
                   type == types.end() ? "" : type->second, fields->value("MESSAGE").toStdString()};
}

} // namespace test_support
