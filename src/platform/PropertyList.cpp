#include "platform/PropertyList.h"

#include "platform/FileSystem.h"
#include "platform/PropertyListCheck.h"

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

bool equalArrays(plist_t left, plist_t right) {
    const std::uint32_t size = plist_array_get_size(left);
    if (plist_array_get_size(right) != size)
        return false;
    for (std::uint32_t i = 0; i < size; ++i) {
        if (!equal(plist_array_get_item(left, i), plist_array_get_item(right, i)))
            return false;
    }
    return true;
}

bool equalDictionaries(plist_t left, plist_t right) {
    if (plist_dict_get_size(left) != plist_dict_get_size(right))
        return false;
    plist_dict_iter rawIterator = nullptr;
    plist_dict_new_iter(left, &rawIterator);
    const std::unique_ptr<void, FreeMemory> iterator(rawIterator);
    for (;;) {
        char *rawKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(left, iterator.get(), &rawKey, &value);
        const CString key(rawKey);
        if (value == nullptr)
            return true;
        plist_t other = plist_dict_get_item(right, key.get());
        if (other == nullptr || !equal(value, other))
            return false;
    }
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
    QByteArray bytes;
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
    bytes = QByteArray(buffer, static_cast<qsizetype>(size));
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
