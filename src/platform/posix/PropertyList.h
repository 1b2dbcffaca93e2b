// A property-list value, XML or binary, read and written through libplist.
//
// A value that owns its whole tree; copies are deep. Any thread may use it, one at a time.
// Formats: Apple's property-list DTD 1.0 and "bplist00".
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>

namespace platform {

enum class PropertyListFormat { xml, binary };

class PropertyList {
public:
    /// Larger files are not read: no preference or Info.plist file comes near.
    static constexpr std::size_t limitBytes = std::size_t{16} << 20;

    static PropertyList dictionary();
    static PropertyList array(std::initializer_list<PropertyList> items);
    static PropertyList integer(std::uint64_t value);
    static PropertyList boolean(bool value);
    static PropertyList string(const QString &value);

    PropertyList(const PropertyList &other);
    PropertyList(PropertyList &&other) noexcept = default;
    PropertyList &operator=(PropertyList other) noexcept;
    ~PropertyList() = default;

    bool isDictionary() const;
    bool isArray() const;
    /// True for an array without items.
    bool isEmptyArray() const;
    std::optional<QString> text() const;
    std::optional<bool> flag() const;

    /// A copy of a dictionary's entry; none when there is none or this is no dictionary.
    std::optional<PropertyList> value(const QByteArray &key) const;
    /// Sets or removes an entry; does nothing when this is no dictionary.
    void set(const QByteArray &key, const PropertyList &value);
    void remove(const QByteArray &key);

    /// Equal in types and values, all the way down: integer 10 is not real 10.0.
    friend bool operator==(const PropertyList &left, const PropertyList &right);

    /// The value in these bytes. None when they are no property list, are `limitBytes` or more, or are made
    /// to exhaust a reader (see PropertyListCheck.h).
    static std::optional<PropertyList> parse(const QByteArray &bytes);
    static std::optional<PropertyListFormat> format(const QByteArray &bytes);

    /// The bytes of this value; empty when it cannot be written without loss.
    QByteArray serialized(PropertyListFormat format) const;

    /// Whether reading these bytes and writing them back in their format changes no value. Some it would: a
    /// date's fraction of a second, a number wider than 64 bits, a set, ...
    static bool survivesRewriting(const QByteArray &bytes);

    /// The value in a file of less than `limitBytes`; none when it cannot be read.
    static std::optional<PropertyList> load(const std::filesystem::path &path);

private:
    struct Free {
        void operator()(void *node) const;
    };
    explicit PropertyList(void *node);

    std::unique_ptr<void, Free> m_node;
};

} // namespace platform
