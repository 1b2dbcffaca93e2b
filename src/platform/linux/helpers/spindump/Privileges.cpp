#include "Privileges.h"

#include "Text.h"

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <limits>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace spindump {

namespace {

bool clearCapabilities() {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    return ::syscall(SYS_capset, &header, none) == 0;
}

bool becomeUser(const AskingUser &asking) {
    return ::prctl(PR_SET_KEEPCAPS, 0, 0, 0, 0) == 0 && ::setgroups(0, nullptr) == 0 &&
           ::setresgid(asking.group, asking.group, asking.group) == 0 &&
           ::setresuid(asking.user, asking.user, asking.user) == 0 && clearCapabilities();
}

} // namespace

AskingUser askingUser() {
    const char *named = std::getenv("PKEXEC_UID");
    if (::getuid() != 0 || named == nullptr)
        return {::getuid(), ::getgid(), ::geteuid() != ::getuid()};
    const auto user = decimalNumber(named, std::numeric_limits<uid_t>::max() - 1);
    const struct passwd *entry = user ? ::getpwuid(*user) : nullptr;
    if (entry == nullptr)
        throw Failure("the user who asks is not known to this system");
    return {entry->pw_uid, entry->pw_gid, true};
}

void dropPrivileges(const AskingUser &asking) {
    // When root asks, there is nothing more to give up.
    const bool becomesAnother = asking.elevated && asking.user != 0;
    if ((becomesAnother && !becomeUser(asking)) || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        throw Failure(QByteArray("rights cannot be given up: ") + std::strerror(errno));
    if (becomesAnother && (::setresuid(0, 0, 0) == 0 || ::setresgid(0, 0, 0) == 0))
        throw Failure("rights that were given up came back");
}

} // namespace spindump
