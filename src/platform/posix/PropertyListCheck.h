// What stands between a property list from anywhere and the library that reads property lists.
//
// That library copies, writes and frees a tree by recursion, unfolds whatever a binary list shares, and takes
// quadratic time for some texts; it also drops or bends some values without a word. The check walks the bytes
// by itself, without recursion, and is stricter than the library, so that the two cannot disagree about the
// shape of a list. Pure functions; any thread may call them.
#pragma once

#include <QByteArray>
#include <optional>

namespace platform {

/// What a list may hold once everything that it shares is unfolded. A preference file has some thousands of
/// values; the limits keep the worst accepted list to moderate memory and time.
struct PropertyListLimits {
    static constexpr std::size_t depth = 128;
    static constexpr int nodes = 100'000;
    static constexpr qsizetype contentBytes = qsizetype{32} << 20;
    /// Comparisons of up to 64 bytes that looking up values in the library's hash table may take.
    static constexpr qint64 lookups = 20'000'000;
    /// Bytes that replacing the character references in XML texts may move.
    static constexpr qint64 movedBytes = qint64{2} << 30;
};

/// True for a well-formed list, XML or binary, within the limits.
bool isSafePropertyList(const QByteArray &bytes);

/// A fingerprint of every value of a safe list, with its type, in its order; none for any other bytes. Two
/// lists in the same format have the same one when they hold the same; spelling and comments do not count.
std::optional<QByteArray> propertyListFingerprint(const QByteArray &bytes);

} // namespace platform
