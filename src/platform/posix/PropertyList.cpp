#include "platform/posix/PropertyList.h"

#include "platform/posix/FileSystem.h"

#include <QStringDecoder>
#include <algorithm>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// Counts the keys and values of a list; false where it goes beyond the limits.
bool isWithinLimits(const PropertyList &list, int depth, int &count) {
    count += list.isDictionary() ? 1 + int(list.entries().size()) : 1;
    return depth <= PropertyList::limitDepth && count <= PropertyList::limitValues &&
           std::all_of(list.entries().begin(), list.entries().end(),
                       [&](const auto &entry) { return isWithinLimits(entry.value, depth + 1, count); });
}

} // namespace

PropertyList::PropertyList(Kind kind, PropertyListFormat format, QByteArray spelling)
    : m_kind(kind)
    , m_format(format)
    , m_spelling(std::move(spelling)) {}

PropertyList::PropertyList(Kind container, std::vector<Entry> entries)
    : m_kind(container)
    , m_entries(std::move(entries)) {}

PropertyList PropertyList::dictionary() {
    return {Kind::dictionary, {}};
}

PropertyList PropertyList::array(std::initializer_list<PropertyList> items) {
    std::vector<Entry> entries;
    for (const PropertyList &item : items)
        entries.push_back({{}, item});
    return {Kind::array, std::move(entries)};
}

PropertyList PropertyList::integer(std::uint64_t value) {
    return {Kind::integer, PropertyListFormat::xml, QByteArray::number(qulonglong{value})};
}

PropertyList PropertyList::boolean(bool value) {
    return {value ? Kind::yes : Kind::no, PropertyListFormat::xml, {}};
}

PropertyList PropertyList::string(const QString &value) {
    return {Kind::text, PropertyListFormat::xml, value.toUtf8()};
}

bool PropertyList::isEmptyArray() const {
    return isArray() && m_entries.empty();
}

std::optional<QString> PropertyList::text() const {
    const auto text = m_kind == Kind::text ? spelling(PropertyListFormat::xml) : std::nullopt;
    return text ? std::optional(exactText(*text)) : std::nullopt;
}

std::optional<bool> PropertyList::flag() const {
    if (m_kind != Kind::yes && m_kind != Kind::no)
        return std::nullopt;
    return m_kind == Kind::yes;
}

const PropertyList *PropertyList::value(QAnyStringView key) const {
    const auto found = std::find_if(m_entries.rbegin(), m_entries.rend(),
                                    [&](const Entry &entry) { return isDictionary() && entry.key == key; });
    return found != m_entries.rend() ? &found->value : nullptr;
}

PropertyList *PropertyList::value(QAnyStringView key) {
    return const_cast<PropertyList *>(std::as_const(*this).value(key));
}

void PropertyList::set(QAnyStringView key, PropertyList value) {
    if (PropertyList *present = this->value(key))
        *present = std::move(value);
    else if (isDictionary())
        m_entries.push_back({key.toString(), std::move(value)});
}

void PropertyList::remove(QAnyStringView key) {
    std::erase_if(m_entries, [&](const Entry &entry) { return isDictionary() && entry.key == key; });
}

std::optional<QByteArray> PropertyList::spelling(PropertyListFormat format) const {
    if (format == m_format)
        return m_spelling;
    return format == PropertyListFormat::xml ? xmlSpelling(m_kind, m_spelling)
                                             : binarySpelling(m_kind, m_spelling);
}

bool operator==(const PropertyList &left, const PropertyList &right) {
    if (left.m_kind != right.m_kind || left.m_entries != right.m_entries)
        return false;
    if (left.m_format == right.m_format && left.m_spelling == right.m_spelling)
        return true;
    // Through the binary spelling and back, every spelling of a value becomes the same.
    const auto meaning = [](const PropertyList &list) {
        const auto binary = list.spelling(PropertyListFormat::binary);
        return binary ? xmlSpelling(list.m_kind, *binary) : std::nullopt;
    };
    const auto meant = meaning(left);
    return meant && meant == meaning(right);
}

std::optional<PropertyList> PropertyList::parse(const QByteArray &bytes) {
    if (static_cast<std::size_t>(bytes.size()) >= limitBytes)
        return std::nullopt;
    return format(bytes) == PropertyListFormat::binary ? readBinaryPropertyList(bytes)
                                                       : readXmlPropertyList(bytes);
}

PropertyListFormat PropertyList::format(const QByteArray &bytes) {
    return bytes.startsWith("bplist") ? PropertyListFormat::binary : PropertyListFormat::xml;
}

std::optional<PropertyList> PropertyList::load(const std::filesystem::path &path) {
    std::error_code error;
    const auto bytes = readFile(path, limitBytes - 1, error);
    return bytes ? parse(*bytes) : std::nullopt;
}

QByteArray PropertyList::serialized(PropertyListFormat format) const {
    int count = 0;
    if (!isWithinLimits(*this, 1, count))
        return {};
    const QByteArray bytes =
        format == PropertyListFormat::binary ? writeBinaryPropertyList(*this) : writeXmlPropertyList(*this);
    return static_cast<std::size_t>(bytes.size()) < limitBytes ? bytes : QByteArray();
}

QString exactText(const QByteArray &utf8) {
    return QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom)(utf8);
}

} // namespace platform
