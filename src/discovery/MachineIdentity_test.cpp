#include "discovery/MachineIdentity.h"

#include "platform/Account.h"
#include "platform/Network.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <gtest/gtest.h>

namespace {

using namespace UtilityFunctions;

TEST(MachineIdentity, TakesTheFirstAddressInTheSystemsOrder) {
    EXPECT_EQ(unitMachineString({QStringLiteral("a4:83:e7:0b:12:9c"), QStringLiteral("00:00:5e:00:53:01")},
                                QStringLiteral("jdoe")),
              QStringLiteral("a4:83:e7:0b:12:9c_jdoe"));
}

TEST(MachineIdentity, WithoutAnyAddressTheUserStandsBehindTheUnderscore) {
    EXPECT_EQ(unitMachineString({}, QStringLiteral("jdoe")), QStringLiteral("_jdoe"));
}

TEST(MachineIdentity, DescribesThisMachineAndUser) {
    EXPECT_EQ(*getUnitMachineString(),
              unitMachineString(*platform::hardwareAddresses(), platform::userName()));
    EXPECT_FALSE(platform::userName().isEmpty());
}

TEST(MachineIdentity, HashIsSha512InLowerCaseHexadecimalAndStable) {
    const QString hash = getMachineHash();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^[0-9a-f]{128}$")).match(hash).hasMatch());
    EXPECT_EQ(
        hash,
        QString::fromLatin1(
            QCryptographicHash::hash(getUnitMachineString()->toUtf8(), QCryptographicHash::Sha512).toHex()));
    EXPECT_EQ(hash, getMachineHash());
}

} // namespace
