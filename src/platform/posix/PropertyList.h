// A property-list value, read from and written to XML (property-list DTD 1.0) or binary ("bplist00").
//
// A value that owns its whole tree; copies are deep. Any thread may use it, one at a time. What was read
// keeps its exact form, so that it is written as it was.
#pragma once

#include <QAnyStringView>
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <vector>

namespace platform {

enum class PropertyListFormat { xml, binary };

class PropertyList {
public:
    /// Only binary lists have UIDs and sets.
    enum class Kind { no, yes, integer, real, date, data, text, uid, array, set, dictionary };
    struct Entry;

    /// Larger files are neither read nor written: no preference or Info.plist file is this large.
    static constexpr std::size_t limitBytes = std::size_t{16} << 20;
    /// Nor are lists that nest deeper or hold more keys and values; a preference file has some thousands.
    static constexpr int limitDepth = 128;
    static constexpr int limitValues = 100'000;

    /// A value of one piece as its format spells it: the text of the XML element, or the whole binary object.
    PropertyList(Kind kind, PropertyListFormat format, QByteArray spelling);
    PropertyList(Kind container, std::vector<Entry> entries);
    static PropertyList dictionary();
    static PropertyList array(std::initializer_list<PropertyList> items);
    static PropertyList integer(std::uint64_t value);
    static PropertyList boolean(bool value);
    static PropertyList string(const QString &value);

    Kind kind() const { return m_kind; }
    bool isDictionary() const { return m_kind == Kind::dictionary; }
    bool isArray() const { return m_kind == Kind::array; }
    /// True for an array without items.
    bool isEmptyArray() const;
    std::optional<QString> text() const;
    std::optional<bool> flag() const;

    /// A dictionary's value, owned by the dictionary; null when there is none or this is no dictionary.
    const PropertyList *value(QAnyStringView key) const;
    PropertyList *value(QAnyStringView key);
    /// Sets or removes an entry; does nothing when this is no dictionary.
    void set(QAnyStringView key, PropertyList value);
    void remove(QAnyStringView key);

    /// The entries of a container in the order of the file. Of a dictionary's entries with the same key the
    /// last one counts; the others are kept.
    const std::vector<Entry> &entries() const { return m_entries; }
    /// The spelling of a value of one piece in a format; none when the format cannot hold the value.
    std::optional<QByteArray> spelling(PropertyListFormat format) const;

    /// Equal in types, values and order, however they are spelled: integer 10 is not real 10.0.
    friend bool operator==(const PropertyList &left, const PropertyList &right);

    /// The value in these bytes. None when they are no property list or go beyond a limit.
    static std::optional<PropertyList> parse(const QByteArray &bytes);
    /// The format that `parse` takes these bytes for.
    static PropertyListFormat format(const QByteArray &bytes);
    /// The value in a file of less than `limitBytes`; none when it cannot be read.
    static std::optional<PropertyList> load(const std::filesystem::path &path);
    /// The bytes of this value; empty when the format cannot hold it or it goes beyond a limit.
    QByteArray serialized(PropertyListFormat format) const;

private:
    Kind m_kind;
    PropertyListFormat m_format = PropertyListFormat::xml;
    QByteArray m_spelling;
    std::vector<Entry> m_entries;
};

/// An entry of a container; the key is empty in arrays and sets.
struct PropertyList::Entry {
    QString key;
    PropertyList value;
    friend bool operator==(const Entry &, const Entry &) = default;
};

/// The two formats, for `PropertyList` alone. The writers leave out the limits. To bound its time, the XML
/// reader refuses a DOCTYPE with declarations, tags of 1,000 characters or more, and attributes but on plist.
std::optional<PropertyList> readXmlPropertyList(const QByteArray &bytes);
std::optional<PropertyList> readBinaryPropertyList(const QByteArray &bytes);
QByteArray writeXmlPropertyList(const PropertyList &list);
QByteArray writeBinaryPropertyList(const PropertyList &list);
std::optional<QByteArray> binarySpelling(PropertyList::Kind kind, const QByteArray &xml);
std::optional<QByteArray> xmlSpelling(PropertyList::Kind kind, const QByteArray &binary);
/// `QString::fromUtf8`, but a byte-order mark at the beginning is a character of the text.
QString exactText(const QByteArray &utf8);

} // namespace platform
