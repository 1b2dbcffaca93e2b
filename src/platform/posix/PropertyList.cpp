#include "platform/posix/PropertyList.h"

#include "platform/posix/FileSystem.h"
#include "platform/posix/PropertyListCheck.h"

#include <QHash>
#include <cstdlib>
#include <locale.h>
#include <plist/plist.h>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// The library reads real numbers by the rules of the process's locale, where a comma may stand for the point.
class NeutralLocale {
public:
    NeutralLocale()
        : m_neutral(::newlocale(LC_ALL_MASK, "C", nullptr))
        , m_previous(::uselocale(m_neutral)) {}
    ~NeutralLocale() {
        ::uselocale(m_previous);
        if (m_neutral != nullptr)
            ::freelocale(m_neutral);
    }
    NeutralLocale(const NeutralLocale &) = delete;
    NeutralLocale &operator=(const NeutralLocale &) = delete;

private:
    locale_t m_neutral;
    locale_t m_previous;
};

struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};
using CString = std::unique_ptr<char, FreeMemory>;

bool equal(plist_t left, plist_t right);

// Walks the entries of a container in their order; asking for one by its place or key can take time linear in
// the size.
class Entries {
public:
    explicit Entries(plist_t container)
        : m_container(container)
        , m_isDictionary(PLIST_IS_DICT(container)) {
        void *iterator = nullptr;
        if (m_isDictionary)
            plist_dict_new_iter(container, &iterator);
        else
            plist_array_new_iter(container, &iterator);
        m_iterator.reset(iterator);
    }

    /// The next entry; null after the last. The key is empty in an array.
    plist_t next(QByteArray &key) {
        plist_t value = nullptr;
        char *name = nullptr;
        if (m_isDictionary)
            plist_dict_next_item(m_container, m_iterator.get(), &name, &value);
        else
            plist_array_next_item(m_container, m_iterator.get(), &value);
        key = CString(name).get();
        return value;
    }

private:
    plist_t m_container;
    bool m_isDictionary;
    std::unique_ptr<void, FreeMemory> m_iterator;
};

bool equalArrays(plist_t left, plist_t right) {
    if (plist_array_get_size(left) != plist_array_get_size(right))
        return false;
    Entries rightEntries(right);
    QByteArray key;
    for (Entries entries(left); plist_t value = entries.next(key);) {
        if (!equal(value, rightEntries.next(key)))
            return false;
    }
    return true;
}

bool equalDictionaries(plist_t left, plist_t right) {
    if (plist_dict_get_size(left) != plist_dict_get_size(right))
        return false;
    QByteArray key;
    QHash<QByteArray, plist_t> rightValues;
    for (Entries entries(right); plist_t value = entries.next(key);)
        rightValues.insert(key, value);
    for (Entries entries(left); plist_t value = entries.next(key);) {
        plist_t other = rightValues.value(key);
        if (other == nullptr || !equal(value, other))
            return false;
    }
    return true;
}

bool equal(plist_t left, plist_t right) {
    const plist_type type = plist_get_node_type(left);
    if (type != plist_get_node_type(right))
        return false;
    if (type == PLIST_ARRAY)
        return equalArrays(left, right);
    if (type == PLIST_DICT)
        return equalDictionaries(left, right);
    return plist_compare_node_value(left, right) != 0;
}

} // namespace

void PropertyList::Free::operator()(void *node) const {
    plist_free(node);
}

PropertyList::PropertyList(void *node)
    : m_node(node) {}

PropertyList::PropertyList(const PropertyList &other)
    : m_node(other.m_node ? plist_copy(other.m_node.get()) : nullptr) {}

PropertyList &PropertyList::operator=(PropertyList other) noexcept {
    std::swap(m_node, other.m_node);
    return *this;
}

PropertyList PropertyList::dictionary() {
    return PropertyList(plist_new_dict());
}

PropertyList PropertyList::array(std::initializer_list<PropertyList> items) {
    PropertyList result(plist_new_array());
    for (const PropertyList &item : items)
        plist_array_append_item(result.m_node.get(), plist_copy(item.m_node.get()));
    return result;
}

PropertyList PropertyList::integer(std::uint64_t value) {
    return PropertyList(plist_new_uint(value));
}

PropertyList PropertyList::boolean(bool value) {
    return PropertyList(plist_new_bool(value ? 1 : 0));
}

PropertyList PropertyList::string(const QString &value) {
    return PropertyList(plist_new_string(value.toUtf8().constData()));
}

bool PropertyList::isDictionary() const {
    return PLIST_IS_DICT(m_node.get());
}

bool PropertyList::isArray() const {
    return PLIST_IS_ARRAY(m_node.get());
}

bool PropertyList::isEmptyArray() const {
    return isArray() && plist_array_get_size(m_node.get()) == 0;
}

std::optional<QString> PropertyList::text() const {
    if (!PLIST_IS_STRING(m_node.get()))
        return std::nullopt;
    char *text = nullptr;
    plist_get_string_val(m_node.get(), &text);
    return QString::fromUtf8(CString(text).get());
}

std::optional<bool> PropertyList::flag() const {
    if (!PLIST_IS_BOOLEAN(m_node.get()))
        return std::nullopt;
    return plist_bool_val_is_true(m_node.get()) == 1;
}

std::optional<PropertyList> PropertyList::value(const QByteArray &key) const {
    plist_t entry = isDictionary() ? plist_dict_get_item(m_node.get(), key.constData()) : nullptr;
    if (entry == nullptr)
        return std::nullopt;
    return PropertyList(plist_copy(entry));
}

void PropertyList::set(const QByteArray &key, const PropertyList &value) {
    if (isDictionary() && value.m_node)
        plist_dict_set_item(m_node.get(), key.constData(), plist_copy(value.m_node.get()));
}

void PropertyList::remove(const QByteArray &key) {
    if (isDictionary() && plist_dict_get_item(m_node.get(), key.constData()) != nullptr)
        plist_dict_remove_item(m_node.get(), key.constData());
}

bool operator==(const PropertyList &left, const PropertyList &right) {
    if (!left.m_node || !right.m_node)
        return left.m_node == right.m_node;
    return equal(left.m_node.get(), right.m_node.get());
}

std::optional<PropertyListFormat> PropertyList::format(const QByteArray &bytes) {
    if (bytes.startsWith("bplist00"))
        return PropertyListFormat::binary;
    if (bytes.trimmed().startsWith('<'))
        return PropertyListFormat::xml;
    return std::nullopt;
}

std::optional<PropertyList> PropertyList::parse(const QByteArray &bytes) {
    if (static_cast<std::size_t>(bytes.size()) >= limitBytes || !isSafePropertyList(bytes))
        return std::nullopt;
    const NeutralLocale neutral;
    plist_t node = nullptr;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    if (format(bytes) == PropertyListFormat::binary)
        plist_from_bin(bytes.constData(), size, &node);
    else
        plist_from_xml(bytes.constData(), size, &node);
    if (node == nullptr)
        return std::nullopt;
    return PropertyList(node);
}

QByteArray PropertyList::serialized(PropertyListFormat format) const {
    if (!m_node)
        return {};
    char *buffer = nullptr;
    std::uint32_t size = 0;
    {
        const NeutralLocale neutral;
        if (format == PropertyListFormat::binary)
            plist_to_bin(m_node.get(), &buffer, &size);
        else
            plist_to_xml(m_node.get(), &buffer, &size);
    }
    if (buffer == nullptr)
        return {};
    const QByteArray bytes(buffer, static_cast<qsizetype>(size));
    format == PropertyListFormat::binary ? plist_to_bin_free(buffer) : plist_to_xml_free(buffer);
    const auto written = parse(bytes);
    return written && *written == *this ? bytes : QByteArray();
}

bool PropertyList::survivesRewriting(const QByteArray &bytes) {
    const auto list = parse(bytes);
    if (!list)
        return false;
    const QByteArray again = list->serialized(*format(bytes));
    return propertyListFingerprint(again) == propertyListFingerprint(bytes);
}

std::optional<PropertyList> PropertyList::load(const std::filesystem::path &path) {
    std::error_code error;
    const auto bytes = readFile(path, limitBytes - 1, error);
    return bytes ? parse(*bytes) : std::nullopt;
}

} // namespace platform
