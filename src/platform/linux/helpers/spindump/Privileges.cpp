#include "Privileges.h"

#include "Arguments.h"

#include <cerrno>
#include <cstdlib>
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

// Root that asks keeps what root has: there is nothing more to give up.
bool becomeUser(const AskingUser &asking) {
    if (!asking.elevated || asking.user == 0)
        return true;
    return ::prctl(PR_SET_KEEPCAPS, 0, 0, 0, 0) == 0 && ::setgroups(0, nullptr) == 0 &&
           ::setresgid(asking.group, asking.group, asking.group) == 0 &&
           ::setresuid(asking.user, asking.user, asking.user) == 0 && clearCapabilities();
}

bool canReturn(const AskingUser &asking) {
    return asking.elevated && asking.user != 0 && (::setresuid(0, 0, 0) == 0 || ::setresgid(0, 0, 0) == 0);
}

} // namespace

std::optional<AskingUser> askingUser(std::string &error) {
    const char *named = std::getenv("PKEXEC_UID");
    if (::getuid() != 0 || named == nullptr)
        return AskingUser{::getuid(), ::getgid(), ::geteuid() != ::getuid()};
    const auto user = decimalNumber(named, std::numeric_limits<uid_t>::max() - 1);
    const struct passwd *entry = user ? ::getpwuid(static_cast<uid_t>(*user)) : nullptr;
    if (entry == nullptr) {
        error = "the user who asks is not known to this system";
        return std::nullopt;
    }
    return AskingUser{entry->pw_uid, entry->pw_gid, true};
}

bool dropPrivileges(const AskingUser &asking, std::string &error) {
    if (!becomeUser(asking) || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        error = std::string("rights cannot be given up: ") + std::strerror(errno);
        return false;
    }
    if (canReturn(asking)) {
        error = "rights that were given up came back";
        return false;
    }
    return true;
}

} // namespace spindump
