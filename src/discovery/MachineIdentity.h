// A name for the machine and its user that says nothing about either: a one-way hash.
//
// Computed afresh at every call, from any thread; stable while the first network interface keeps its address.
#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace UtilityFunctions {

/// The first hardware address (empty when there is none), "_", and the user's login name; none when the
/// system gives no list of interfaces.
std::optional<QString> getUnitMachineString();

/// The same from an interface list already read.
QString unitMachineString(const std::vector<QString> &hardwareAddresses, const QString &userName);

/// SHA-512 (FIPS 180-4) of the machine string's UTF-8 bytes, as 128 lower-case hexadecimal digits. Without a
/// machine string the process ends.
QString getMachineHash();

} // namespace UtilityFunctions
