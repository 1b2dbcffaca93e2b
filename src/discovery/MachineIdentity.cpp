#include "discovery/MachineIdentity.h"

#include "platform/Account.h"
#include "platform/Network.h"
#include "platform/posix/Fatal.h"

#include <QCryptographicHash>

namespace UtilityFunctions {

QString unitMachineString(const std::vector<QString> &hardwareAddresses, const QString &userName) {
    const QString first = hardwareAddresses.empty() ? QString() : hardwareAddresses.front();
    return first + u'_' + userName;
}

std::optional<QString> getUnitMachineString() {
    const auto addresses = platform::hardwareAddresses();
    if (!addresses)
        return std::nullopt;
    return unitMachineString(*addresses, platform::userName());
}

QString getMachineHash() {
    const auto machine = getUnitMachineString();
    if (!machine)
        platform::fatal("The system gives no list of network interfaces.");
    const QByteArray digest = QCryptographicHash::hash(machine->toUtf8(), QCryptographicHash::Sha512);
    return QString::fromLatin1(digest.toHex());
}

} // namespace UtilityFunctions
