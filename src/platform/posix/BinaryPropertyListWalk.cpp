#include "platform/posix/PropertyListTally.h"

#include <QString>
#include <algorithm>
#include <bit>

namespace platform {

namespace {

class BinaryWalk {
public:
    BinaryWalk(const QByteArray &bytes, PropertyListTally &tally)
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
               m_table <= trailer && m_objects <= (trailer - m_table) / m_offsetSize;
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
                   m_tally.scalar(object.count == 9 ? PropertyListToken::yes : PropertyListToken::no, {});
        case 0x1:
            return integer(object);
        case 0x2:
            return real(object, PropertyListToken::real, PLIST_REAL);
        case 0x3:
            return object.count == 3 && real(object, PropertyListToken::date, PLIST_DATE);
        case 0x4:
            return fits(object, 1) && m_tally.scalar(PropertyListToken::data, content(object, 1));
        case 0x5:
        case 0x6: {
            QByteArray text;
            return readText(object, text) && m_tally.scalar(PropertyListToken::text, text) &&
                   m_tally.lookup(PLIST_STRING, text);
        }
        case 0x8:
            return uid(object);
        case 0xA:
            return open(object, PropertyListToken::array, 1);
        case 0xC:
            return open(object, PropertyListToken::set, 1);
        case 0xD:
            return open(object, PropertyListToken::dictionary, 2);
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
        return m_tally.scalar(PropertyListToken::integer,
                              std::bit_cast<std::array<char, sizeof wide>>(wide)) &&
               lookupNumber(PLIST_UINT, low);
    }

    bool real(const Object &object, PropertyListToken token, plist_type type) {
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
        return m_tally.scalar(PropertyListToken::uid,
                              std::bit_cast<std::array<char, sizeof identifier>>(identifier)) &&
               lookupNumber(PLIST_UID, identifier);
    }

    bool open(const Object &object, PropertyListToken token, quint64 perItem) {
        if (!fits(object, perItem * m_referenceSize))
            return false;
        m_open.push_back({token == PropertyListToken::dictionary, object.at, object.count * perItem});
        return m_tally.open(token);
    }

    const QByteArrayView m_bytes;
    PropertyListTally &m_tally;
    std::vector<Container> m_open;
    quint64 m_offsetSize = 0;
    quint64 m_referenceSize = 0;
    quint64 m_objects = 0;
    quint64 m_root = 0;
    quint64 m_table = 0;
};

} // namespace

bool walkBinaryPropertyList(const QByteArray &bytes, PropertyListTally &tally) {
    return BinaryWalk(bytes, tally).run();
}

} // namespace platform
