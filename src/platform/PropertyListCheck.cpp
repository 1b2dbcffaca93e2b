#include "platform/PropertyListCheck.h"

#include <QByteArrayView>
#include <QCryptographicHash>
#include <QSet>
#include <QString>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <plist/plist.h>
#include <vector>

namespace platform {

namespace {

// A token of the fingerprint begins with its kind.
enum class Token : char {
    dictionary = 'D',
    array = 'A',
    set = 'S',
    end = 'E',
    text = 't',
    integer = 'i',
    real = 'r',
    date = 'd',
    data = 'b',
    uid = 'u',
    yes = 'T',
    no = 'F',
    writtenReturn = 'R',
};

// Counts what a walk meets against the limits, holds it to the grammar of dictionaries, and takes the
// fingerprint. Each step says whether the walk may go on.
class Tally {
public:
    bool open(Token container) {
        m_levels.push_back({container == Token::dictionary, false, {}});
        note(container, {});
        return ++m_nodes <= PropertyListLimits::nodes && m_levels.size() <= PropertyListLimits::depth;
    }

    bool close() {
        if (m_levels.empty() || m_levels.back().valueIsNext)
            return false;
        m_levels.pop_back();
        note(Token::end, {});
        return true;
    }

    bool scalar(Token token, QByteArrayView content) {
        note(token, content);
        m_contentBytes += content.size();
        return ++m_nodes <= PropertyListLimits::nodes && m_contentBytes <= PropertyListLimits::contentBytes;
    }

    // A second value for a key would be lost in silence, so there must be none.
    bool key(const QByteArray &name) {
        if (!keyIsNext() || m_levels.back().keys.contains(name))
            return false;
        m_levels.back().keys.insert(name);
        m_levels.back().valueIsNext = true;
        return scalar(Token::text, name) && lookup(PLIST_KEY, name);
    }

    // Before each value: a dictionary takes one after a key only.
    bool place() {
        if (keyIsNext())
            return false;
        if (!m_levels.empty())
            m_levels.back().valueIsNext = false;
        return true;
    }

    bool keyIsNext() const {
        return !m_levels.empty() && m_levels.back().dictionary && !m_levels.back().valueIsNext;
    }

    // The library keeps values in a table of 4096 chains under this hash, and one chain is easy to aim at.
    bool lookup(plist_type type, QByteArrayView value) {
        quint32 hash = 5381 + quint32(type);
        for (const char byte : value)
            hash = hash * 33 + quint32(qint32(byte));
        qint64 &chain = m_chains[hash & 0xFFF];
        const auto known = m_distinct.size();
        m_distinct.insert(qHash(value, m_seed + std::size_t(type)));
        chain += m_distinct.size() - known;
        m_lookups += chain * (1 + value.size() / 64);
        return m_lookups <= PropertyListLimits::lookups;
    }

    void note(Token token, QByteArrayView content) {
        std::array<char, 9> head{static_cast<char>(token)};
        qToBigEndian(quint64(content.size()), head.data() + 1);
        m_hash.addData(QByteArrayView(head));
        m_hash.addData(content);
    }

    QByteArray fingerprint() const { return m_hash.result(); }

private:
    struct Level {
        bool dictionary;
        bool valueIsNext;
        QSet<QByteArray> keys;
    };

    std::vector<Level> m_levels;
    int m_nodes = 0;
    qsizetype m_contentBytes = 0;
    qint64 m_lookups = 0;
    std::array<qint64, 0x1000> m_chains{};
    QSet<std::size_t> m_distinct;
    const std::size_t m_seed = QHashSeed::globalSeed();
    QCryptographicHash m_hash{QCryptographicHash::Blake2b_256};
};

bool isBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Characters that XML cannot hold as themselves.
bool isForbidden(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 && !isBlank(byte);
}

class XmlWalk {
public:
    XmlWalk(const QByteArray &bytes, Tally &tally)
        : m_text(bytes)
        , m_tally(tally) {}

    bool run() {
        return m_text.isValidUtf8() && std::none_of(m_text.begin(), m_text.end(), isForbidden) &&
               skipMisc(Place::prolog) && openRoot() && body() && skipMisc(Place::epilog) &&
               m_at == m_text.size();
    }

private:
    enum class Place { prolog, content, epilog };
    struct Tag {
        QByteArrayView name;
        bool closing = false;
        bool empty = false;
    };

    bool accept(QByteArrayView token) {
        if (!m_text.sliced(m_at).startsWith(token))
            return false;
        m_at += token.size();
        return true;
    }

    void skipBlanks() {
        while (m_at < m_text.size() && isBlank(m_text[m_at]))
            ++m_at;
    }

    // What stands before `end`, past which the walk goes on; a null view when there is no end.
    QByteArrayView upTo(QByteArrayView end) {
        const qsizetype found = m_text.indexOf(end, m_at);
        if (found < 0)
            return {};
        const QByteArrayView part = m_text.sliced(m_at, found - m_at);
        m_at = found + end.size();
        return part;
    }

    // Comments, processing instructions and the document type. Where a quote is open at what looks like the
    // end, readers disagree about the end: such a list is none.
    bool skipMisc(Place place) {
        for (skipBlanks(); m_at < m_text.size(); skipBlanks()) {
            if (accept("<!--")) {
                if (upTo("-->").isNull())
                    return false;
            } else if (accept("<?")) {
                const QByteArrayView instruction = upTo("?>");
                if (instruction.isNull() || instruction.count('"') % 2 != 0 || !isReadable(instruction))
                    return false;
            } else if (place == Place::prolog && accept("<!DOCTYPE")) {
                const QByteArrayView type = upTo(">");
                if (type.isNull() || type.count('"') % 2 != 0 || type.contains('[') || type.contains('<'))
                    return false;
            } else {
                return true;
            }
        }
        return place == Place::epilog;
    }

    // The library takes every text for UTF-8, whatever the declaration says.
    static bool isReadable(QByteArrayView instruction) {
        const QByteArray lower = instruction.toByteArray().toLower();
        return !lower.startsWith("xml ") || !lower.contains("encoding") || lower.contains("utf-8") ||
               lower.contains("us-ascii");
    }

    bool openRoot() {
        if (!accept("<plist"))
            return false;
        const QByteArrayView attributes = upTo(">");
        return !attributes.isNull() && attributes.count('"') % 2 == 0 && !attributes.contains('<') &&
               !attributes.endsWith('/') && (attributes.isEmpty() || isBlank(attributes[0]));
    }

    bool readTag(Tag &tag) {
        if (!accept("<"))
            return false;
        tag.closing = accept("/");
        const qsizetype start = m_at;
        while (m_at < m_text.size() && m_text[m_at] >= 'a' && m_text[m_at] <= 'z')
            ++m_at;
        tag.name = m_text.sliced(start, m_at - start);
        skipBlanks();
        tag.empty = !tag.closing && accept("/");
        return accept(">");
    }

    bool body() {
        std::vector<QByteArrayView> open;
        bool complete = false;
        for (Tag tag; skipMisc(Place::content) && readTag(tag);) {
            if (tag.closing && tag.name == "plist")
                return complete;
            if (complete)
                return false;
            if (tag.closing) {
                if (open.empty() || open.back() != tag.name || !m_tally.close())
                    return false;
                open.pop_back();
            } else if (tag.name == "dict" || tag.name == "array") {
                const Token token = tag.name == "dict" ? Token::dictionary : Token::array;
                if (!m_tally.place() || !m_tally.open(token) || (tag.empty && !m_tally.close()))
                    return false;
                if (!tag.empty)
                    open.push_back(tag.name);
            } else if (!leaf(tag)) {
                return false;
            }
            complete = open.empty();
        }
        return false;
    }

    bool leaf(const Tag &tag) {
        const bool isText = tag.name == "string" || tag.name == "key";
        QByteArray content;
        if (!tag.empty && !readContent(tag.name, isText, content))
            return false;
        if (tag.name == "key")
            return m_tally.key(content);
        if (!m_tally.place())
            return false;
        if (tag.name == "string")
            return m_tally.scalar(Token::text, content);
        if (tag.name == "data") {
            content.removeIf(isBlank);
            return m_tally.scalar(Token::data, content);
        }
        content = content.trimmed();
        if (tag.name == "integer")
            return m_tally.scalar(Token::integer, content);
        if (tag.name == "date")
            return m_tally.scalar(Token::date, content);
        if (tag.name == "real")
            return real(content);
        return content.isEmpty() && (tag.name == "true" || tag.name == "false") &&
               m_tally.scalar(tag.name == "true" ? Token::yes : Token::no, {});
    }

    // The number counts and not its spelling, where it is one.
    bool real(const QByteArray &content) {
        bool isNumber = false;
        const auto bits = std::bit_cast<std::array<char, sizeof(double)>>(content.toDouble(&isNumber));
        return m_tally.scalar(Token::real, isNumber ? QByteArrayView(bits) : QByteArrayView(content));
    }

    bool readContent(QByteArrayView name, bool isText, QByteArray &content) {
        for (;;) {
            const QByteArrayView part = upTo("<");
            if (part.isNull() || !append(part, isText, content))
                return false;
            if (accept("!--")) {
                if (upTo("-->").isNull())
                    return false;
            } else if (accept("![CDATA[")) {
                const QByteArrayView verbatim = upTo("]]>");
                if (verbatim.isNull())
                    return false;
                content.append(verbatim);
            } else {
                const bool closed = accept("/") && accept(name);
                skipBlanks();
                return closed && accept(">");
            }
        }
    }

    bool append(QByteArrayView part, bool isText, QByteArray &content) {
        for (qsizetype at = 0; at < part.size();) {
            const qsizetype reference = isText ? part.indexOf('&', at) : -1;
            const qsizetype plainEnd = reference < 0 ? part.size() : reference;
            content.append(part.sliced(at, plainEnd - at));
            if (reference < 0)
                return true;
            const qsizetype end = part.indexOf(';', reference);
            m_movedBytes += part.size();
            if (end < 0 || m_movedBytes > PropertyListLimits::movedBytes ||
                !appendReference(part.sliced(reference + 1, end - reference - 1), content))
                return false;
            at = end + 1;
        }
        return true;
    }

    bool appendReference(QByteArrayView name, QByteArray &content) {
        static constexpr struct {
            QByteArrayView name;
            char character;
        } named[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        for (const auto &entry : named) {
            if (entry.name == name) {
                content.append(entry.character);
                return true;
            }
        }
        const bool hexadecimal = name.startsWith("#x");
        const QByteArrayView digits = name.sliced(std::min<qsizetype>(name.size(), hexadecimal ? 2 : 1));
        const QByteArrayView allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
        if (!name.startsWith('#') || digits.isEmpty() || digits.size() > 6 ||
            !std::all_of(digits.begin(), digits.end(), [&](char digit) { return allowed.contains(digit); }))
            return false;
        const char32_t code = digits.toUInt(nullptr, hexadecimal ? 16 : 10);
        if (code == 0 || code > QChar::LastValidCodePoint || QChar::isSurrogate(code))
            return false;
        if (code == '\r')
            m_tally.note(Token::writtenReturn, {}); // as itself it would be read as a line's end
        content.append(QString::fromUcs4(&code, 1).toUtf8());
        return true;
    }

    const QByteArrayView m_text;
    Tally &m_tally;
    qsizetype m_at = 0;
    qint64 m_movedBytes = 0;
};

class BinaryWalk {
public:
    BinaryWalk(const QByteArray &bytes, Tally &tally)
        : m_bytes(bytes)
        , m_tally(tally) {}

    // A list that holds itself ends at the limit of depth.
    bool run() {
        if (!readTrailer() || !value(m_root))
            return false;
        while (!m_open.empty()) {
            Container &container = m_open.back();
            if (container.next == container.references) {
                if (!m_tally.close())
                    return false;
                m_open.pop_back();
                continue;
            }
            const quint64 next = container.next++;
            // A dictionary has the references to its keys first, then those to its values.
            const quint64 place =
                container.isDictionary ? next / 2 + (next % 2) * (container.references / 2) : next;
            if (!value(number(container.at + place * m_referenceSize, m_referenceSize)))
                return false;
        }
        return true;
    }

private:
    static constexpr quint64 headSize = 8;
    static constexpr quint64 trailerSize = 32;

    struct Container {
        bool isDictionary;
        quint64 at;
        quint64 references;
        quint64 next = 0;
    };
    struct Object {
        unsigned type = 0;
        quint64 count = 0;
        quint64 at = 0;
    };

    quint64 number(quint64 at, quint64 size) const {
        quint64 result = 0;
        for (quint64 i = 0; i < size; ++i)
            result = result << 8 | static_cast<unsigned char>(m_bytes[qsizetype(at + i)]);
        return result;
    }

    bool readTrailer() {
        const auto size = quint64(m_bytes.size());
        if (!m_bytes.startsWith("bplist00") || size < headSize + trailerSize)
            return false;
        const quint64 trailer = size - trailerSize;
        m_offsetSize = number(trailer + 6, 1);
        m_referenceSize = number(trailer + 7, 1);
        m_objects = number(trailer + 8, 8);
        m_root = number(trailer + 16, 8);
        m_table = number(trailer + 24, 8);
        return m_offsetSize >= 1 && m_offsetSize <= 8 && m_referenceSize >= 1 && m_referenceSize <= 8 &&
               m_table >= headSize && m_table <= trailer && m_objects <= (trailer - m_table) / m_offsetSize;
    }

    bool fits(const Object &object, quint64 unit) const {
        return object.count <= (m_table - object.at) / unit;
    }

    bool readObject(quint64 index, Object &object) const {
        if (index >= m_objects)
            return false;
        object.at = number(m_table + index * m_offsetSize, m_offsetSize);
        if (object.at < headSize || object.at >= m_table)
            return false;
        const quint64 marker = number(object.at++, 1);
        object.type = unsigned(marker >> 4);
        object.count = marker & 0xF;
        if (object.type < 4 || object.type == 8 || object.count != 0xF)
            return true;
        // A count that does not fit into the marker follows it as an integer.
        const quint64 countMarker = object.at < m_table ? number(object.at++, 1) : 0;
        const quint64 size = quint64{1} << (countMarker & 0xF);
        if (countMarker >> 4 != 1 || size > 8 || size > m_table - object.at)
            return false;
        object.count = number(object.at, size);
        object.at += size;
        return true;
    }

    bool value(quint64 index) {
        Object object;
        if (!readObject(index, object))
            return false;
        if (m_tally.keyIsNext())
            return key(object);
        if (!m_tally.place())
            return false;
        switch (object.type) {
        case 0x0:
            return (object.count == 8 || object.count == 9) &&
                   m_tally.scalar(object.count == 9 ? Token::yes : Token::no, {});
        case 0x1:
            return integer(object);
        case 0x2:
            return real(object, Token::real, PLIST_REAL);
        case 0x3:
            return object.count == 3 && real(object, Token::date, PLIST_DATE);
        case 0x4:
            return fits(object, 1) && m_tally.scalar(Token::data, content(object, 1));
        case 0x5:
        case 0x6: {
            QByteArray text;
            return readText(object, text) && m_tally.scalar(Token::text, text) &&
                   m_tally.lookup(PLIST_STRING, text);
        }
        case 0x8:
            return uid(object);
        case 0xA:
            return open(object, Token::array, 1);
        case 0xC:
            return open(object, Token::set, 1);
        case 0xD:
            return open(object, Token::dictionary, 2);
        default:
            return false;
        }
    }

    QByteArrayView content(const Object &object, quint64 unit) const {
        return m_bytes.sliced(qsizetype(object.at), qsizetype(object.count * unit));
    }

    bool key(const Object &object) {
        QByteArray text;
        return readText(object, text) && m_tally.key(text);
    }

    // Text that is none, or that a C string cannot hold, would not come through.
    bool readText(const Object &object, QByteArray &text) const {
        if (object.type == 0x5 && fits(object, 1)) {
            text = content(object, 1).toByteArray();
            return std::none_of(text.cbegin(), text.cend(), [](char byte) { return byte <= 0; });
        }
        if (object.type != 0x6 || !fits(object, 2))
            return false;
        QString characters(qsizetype(object.count), Qt::Uninitialized);
        qFromBigEndian<char16_t>(content(object, 2).data(), qsizetype(object.count), characters.data());
        text = characters.toUtf8();
        return characters.isValidUtf16() && !text.contains('\0');
    }

    // As the library holds it: the lower eight bytes in the machine's order.
    bool lookupNumber(plist_type type, quint64 bits) {
        return m_tally.lookup(type, std::bit_cast<std::array<char, sizeof bits>>(bits));
    }

    // Eight bytes are signed, fewer are not, sixteen hold what eight cannot.
    bool integer(const Object &object) {
        const quint64 size = quint64{1} << object.count;
        if (size > 16 || size > m_table - object.at)
            return false;
        const quint64 high = size == 16 ? number(object.at, 8) : 0;
        const quint64 low = size == 16 ? number(object.at + 8, 8) : number(object.at, size);
        const bool negative = size == 8 && qint64(low) < 0;
        const std::array<quint64, 2> wide{negative ? ~quint64{0} : high, low};
        return m_tally.scalar(Token::integer, std::bit_cast<std::array<char, sizeof wide>>(wide)) &&
               lookupNumber(PLIST_UINT, low);
    }

    bool real(const Object &object, Token token, plist_type type) {
        const quint64 size = quint64{1} << object.count;
        if ((size != 4 && size != 8) || size > m_table - object.at)
            return false;
        const quint64 raw = number(object.at, size);
        const quint64 bits =
            size == 8 ? raw : std::bit_cast<quint64>(double(std::bit_cast<float>(quint32(raw))));
        return m_tally.scalar(token, std::bit_cast<std::array<char, sizeof bits>>(bits)) &&
               lookupNumber(type, bits);
    }

    bool uid(const Object &object) {
        const quint64 size = object.count + 1;
        if (size > 8 || size > m_table - object.at)
            return false;
        const quint64 identifier = number(object.at, size);
        return m_tally.scalar(Token::uid, std::bit_cast<std::array<char, sizeof identifier>>(identifier)) &&
               lookupNumber(PLIST_UID, identifier);
    }

    bool open(const Object &object, Token token, quint64 perItem) {
        if (!fits(object, perItem * m_referenceSize))
            return false;
        m_open.push_back({token == Token::dictionary, object.at, object.count * perItem});
        return m_tally.open(token);
    }

    const QByteArrayView m_bytes;
    Tally &m_tally;
    std::vector<Container> m_open;
    quint64 m_offsetSize = 0;
    quint64 m_referenceSize = 0;
    quint64 m_objects = 0;
    quint64 m_root = 0;
    quint64 m_table = 0;
};

} // namespace

bool isSafePropertyList(const QByteArray &bytes) {
    return propertyListFingerprint(bytes).has_value();
}

std::optional<QByteArray> propertyListFingerprint(const QByteArray &bytes) {
    Tally tally;
    const bool safe =
        bytes.startsWith("bplist") ? BinaryWalk(bytes, tally).run() : XmlWalk(bytes, tally).run();
    return safe ? std::optional(tally.fingerprint()) : std::nullopt;
}

} // namespace platform
