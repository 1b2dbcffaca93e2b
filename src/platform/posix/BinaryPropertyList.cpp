#include "platform/posix/PropertyList.h"

#include <QDateTime>
#include <QHash>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>

namespace platform {

namespace {

using Kind = PropertyList::Kind;

constexpr int headSize = 8;
constexpr int trailerSize = 32;
// The limit of all texts and data, each counted as often as the list uses it.
constexpr qsizetype limitContentBytes = qsizetype{32} << 20;
constexpr double referenceDate = 978'307'200; // 2001-01-01T00:00:00Z, in seconds since 1970

// The number in these bytes, of which the last eight count.
quint64 number(QByteArrayView bytes) {
    quint64 result = 0;
    for (const char byte : bytes)
        result = result << 8 | static_cast<unsigned char>(byte);
    return result;
}

QByteArray bigEndian(quint64 number, int width) {
    QByteArray bytes(sizeof number, '\0');
    qToBigEndian(number, bytes.data());
    return bytes.right(width);
}

// The fewest bytes for numbers up to this one, a power of two.
int widthOf(quint64 number) {
    if (number <= 0xFFFF)
        return number <= 0xFF ? 1 : 2;
    return number <= 0xFFFF'FFFF ? 4 : 8;
}

QByteArray integer(quint64 number) {
    const int width = widthOf(number);
    return char(0x10 | std::countr_zero(unsigned(width))) + bigEndian(number, width);
}

QByteArray marker(int type, quint64 count) {
    const QByteArray first(1, char(type << 4 | int(std::min<quint64>(count, 0xF))));
    return count < 0xF ? first : first + integer(count);
}

bool isAscii(QByteArrayView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte >= 0; });
}

QByteArray textObject(const QString &text) {
    const QByteArray utf8 = text.toUtf8();
    if (isAscii(utf8))
        return marker(0x5, quint64(utf8.size())) + utf8;
    QByteArray characters(text.size() * 2, '\0');
    qToBigEndian<char16_t>(text.constData(), text.size(), characters.data());
    return marker(0x6, quint64(text.size())) + characters;
}

// Whatever is wrong makes the reader invalid, and what it returns from then on has no meaning.
class BinaryReader {
public:
    explicit BinaryReader(const QByteArray &bytes)
        : m_bytes(bytes) {}

    std::optional<PropertyList> read() {
        if (!m_bytes.startsWith("bplist00") || m_bytes.size() < headSize + trailerSize)
            return std::nullopt;
        const QByteArrayView trailer = m_bytes.last(trailerSize);
        const auto trailerAt = quint64(m_bytes.size() - trailerSize);
        m_offsetSize = number(trailer.sliced(6, 1));
        m_referenceSize = number(trailer.sliced(7, 1));
        m_objects = number(trailer.sliced(8, 8));
        m_table = number(trailer.sliced(24, 8));
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8 ||
            m_table > trailerAt || m_objects > (trailerAt - m_table) / m_offsetSize)
            return std::nullopt;
        auto list = value(number(trailer.sliced(16, 8)), 1);
        return m_isValid ? std::optional(std::move(list)) : std::nullopt;
    }

private:
    struct Object {
        quint64 start = 0;
        unsigned type = 0;
        quint64 count = 0;
        quint64 content = 0;
    };

    // So many parts of this size; none, and the reader invalid, where the objects end before.
    QByteArrayView part(quint64 at, quint64 count, quint64 size = 1) {
        m_isValid = m_isValid && at >= headSize && at <= m_table && count <= (m_table - at) / size;
        return m_isValid ? m_bytes.sliced(qsizetype(at), qsizetype(count * size)) : QByteArrayView();
    }

    Object object(quint64 index) {
        Object result;
        m_isValid = m_isValid && index < m_objects;
        if (!m_isValid)
            return result;
        result.start =
            number(m_bytes.sliced(qsizetype(m_table + index * m_offsetSize), qsizetype(m_offsetSize)));
        const quint64 marker = number(part(result.start, 1));
        result.type = unsigned(marker >> 4);
        result.count = marker & 0xF;
        result.content = result.start + 1;
        if (result.type < 0x4 || result.type == 0x8 || result.count != 0xF)
            return result;
        // A count that does not fit into the marker follows it as an integer.
        const quint64 countMarker = number(part(result.content++, 1));
        m_isValid = m_isValid && countMarker >= 0x10 && countMarker <= 0x13;
        const quint64 size = quint64{1} << (countMarker & 0x3);
        result.count = number(part(result.content, size));
        result.content += size;
        return result;
    }

    // A list that holds itself ends at a limit.
    PropertyList value(quint64 index, int depth) {
        const Object found = object(index);
        const quint64 count = found.count;
        if (depth > PropertyList::limitDepth || ++m_values > PropertyList::limitValues)
            m_isValid = false;
        switch (m_isValid ? found.type : 0xF) {
        case 0x0:
            return piece(count == 9 ? Kind::yes : Kind::no, found, count == 8 || count == 9, 0);
        case 0x1:
            return piece(Kind::integer, found, count <= 4, quint64{1} << count);
        case 0x2:
            return piece(Kind::real, found, count == 2 || count == 3, quint64{1} << count);
        case 0x3:
            return piece(Kind::date, found, count == 3, 8);
        case 0x4:
            return piece(Kind::data, found, true, count);
        case 0x5:
        case 0x6:
            return piece(Kind::text, found, true, count, found.type == 0x6 ? 2 : 1);
        case 0x8:
            return piece(Kind::uid, found, true, count + 1);
        case 0xA:
            return container(Kind::array, found, depth);
        case 0xC:
            return container(Kind::set, found, depth);
        case 0xD:
            return container(Kind::dictionary, found, depth);
        default:
            m_isValid = false;
            return PropertyList::dictionary();
        }
    }

    PropertyList piece(Kind kind, const Object &object, bool isKnown, quint64 count, quint64 size = 1) {
        const qsizetype contentBytes = part(object.content, count, size).size();
        m_contentBytes += contentBytes;
        m_isValid = m_isValid && isKnown && m_contentBytes <= limitContentBytes;
        const QByteArrayView whole =
            part(object.start, object.content - object.start + quint64(contentBytes));
        return {kind, PropertyListFormat::binary, whole.toByteArray()};
    }

    // A dictionary has the references to its keys first, then those to its values.
    PropertyList container(Kind kind, const Object &object, int depth) {
        const quint64 keys = kind == Kind::dictionary ? object.count : 0;
        part(object.content, object.count, m_referenceSize * (keys > 0 ? 2 : 1));
        const auto entry = [&](quint64 place) {
            return value(number(part(object.content + place * m_referenceSize, m_referenceSize)), depth + 1);
        };
        std::vector<PropertyList::Entry> entries;
        for (quint64 i = 0; m_isValid && i < object.count; ++i) {
            std::optional<QString> key{QString()};
            if (keys > 0) {
                const PropertyList name = entry(i);
                key = m_isValid ? name.text() : std::nullopt;
            }
            m_isValid = key.has_value();
            entries.push_back({key.value_or(QString()), entry(keys + i)});
        }
        return {kind, std::move(entries)};
    }

    const QByteArrayView m_bytes;
    quint64 m_offsetSize = 0;
    quint64 m_referenceSize = 0;
    quint64 m_objects = 0;
    quint64 m_table = 0;
    int m_values = 0;
    qsizetype m_contentBytes = 0;
    bool m_isValid = true;
};

// Equal pieces share one object; containers do not, as a program that changes one would change the other.
class BinaryWriter {
public:
    QByteArray write(const PropertyList &list) {
        add(list);
        const int referenceSize = widthOf(m_objects.size());
        QByteArray bytes = "bplist00";
        std::vector<quint64> offsets;
        for (const Object &object : m_objects) {
            offsets.push_back(quint64(bytes.size()));
            bytes += object.bytes;
            for (const quint64 reference : object.references)
                bytes += bigEndian(reference, referenceSize);
        }
        const auto table = quint64(bytes.size());
        const int offsetSize = widthOf(table);
        for (const quint64 offset : offsets)
            bytes += bigEndian(offset, offsetSize);
        bytes += bigEndian(quint64(offsetSize), 7) + bigEndian(quint64(referenceSize), 1) +
                 bigEndian(m_objects.size(), 8) + bigEndian(quint64{0}, 8) + bigEndian(table, 8);
        return m_isValid && m_contentBytes <= limitContentBytes ? bytes : QByteArray();
    }

private:
    struct Object {
        QByteArray bytes;
        std::vector<quint64> references;
    };

    quint64 add(const PropertyList &list) {
        if (list.kind() < Kind::array) {
            const auto spelling = list.spelling(PropertyListFormat::binary);
            m_isValid = m_isValid && spelling;
            return addPiece(spelling.value_or(QByteArray()));
        }
        static constexpr int types[] = {0xA, 0xC, 0xD};
        const quint64 place = m_objects.size();
        m_objects.push_back({marker(types[int(list.kind()) - int(Kind::array)], list.entries().size()), {}});
        std::vector<quint64> references;
        if (list.isDictionary()) {
            for (const auto &entry : list.entries())
                references.push_back(addPiece(textObject(entry.key)));
        }
        for (const auto &entry : list.entries())
            references.push_back(add(entry.value));
        m_objects[place].references = std::move(references);
        return place;
    }

    quint64 addPiece(const QByteArray &bytes) {
        m_contentBytes += bytes.size();
        const auto known = m_pieces.constFind(bytes);
        if (known != m_pieces.constEnd())
            return *known;
        m_objects.push_back({bytes, {}});
        return *m_pieces.insert(bytes, m_objects.size() - 1);
    }

    std::vector<Object> m_objects;
    QHash<QByteArray, quint64> m_pieces;
    qsizetype m_contentBytes = 0;
    bool m_isValid = true;
};

std::optional<QByteArray> integerText(QByteArrayView bytes) {
    // Integers of eight bytes have a sign, shorter ones have none, and longer ones seldom fit into a text.
    if (bytes.size() == 8)
        return QByteArray::number(qint64(number(bytes)));
    const bool isWide = bytes.size() > 8 && number(bytes.first(8)) != 0;
    return isWide ? std::nullopt : std::optional(QByteArray::number(number(bytes)));
}

double realNumber(QByteArrayView bytes) {
    return bytes.size() == sizeof(float) ? double(std::bit_cast<float>(quint32(number(bytes))))
                                         : std::bit_cast<double>(number(bytes));
}

// Qt's own conversion loses the sign of zero.
QByteArray realText(double number) {
    if (std::isnan(number))
        return "nan";
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.begin(), text.end(), number);
    return QByteArray(text.data(), written.ptr - text.data());
}

// A date is a number of seconds; as a text it has no fraction, and a year of four digits.
std::optional<QByteArray> dateText(double seconds) {
    if (seconds != std::floor(seconds) || std::abs(seconds) > 1e12)
        return std::nullopt;
    const auto date = QDateTime::fromSecsSinceEpoch(qint64(seconds + referenceDate), Qt::UTC);
    const bool isWritten = date.date().year() >= 1 && date.date().year() <= 9999;
    return isWritten ? std::optional(date.toString(Qt::ISODate).toLatin1()) : std::nullopt;
}

std::optional<QByteArray> integerObject(const QByteArray &text) {
    const int base = text.contains('x') || text.contains('X') ? 16 : 10;
    bool isNumber = false;
    const qint64 value = text.toLongLong(&isNumber, base);
    if (isNumber)
        return value < 0 ? '\x13' + bigEndian(quint64(value), 8) : integer(quint64(value));
    const quint64 large = text.toULongLong(&isNumber, base);
    return isNumber ? std::optional('\x14' + bigEndian(quint64{0}, 8) + bigEndian(large, 8)) : std::nullopt;
}

} // namespace

std::optional<QByteArray> xmlSpelling(Kind kind, const QByteArray &binary) {
    const bool isCounted = (kind == Kind::data || kind == Kind::text) && (binary[0] & 0xF) == 0xF;
    const QByteArrayView bytes = QByteArrayView(binary).sliced(isCounted ? 2 + (1 << (binary[1] & 0x3)) : 1);
    switch (kind) {
    case Kind::no:
    case Kind::yes:
        return QByteArray();
    case Kind::integer:
        return integerText(bytes);
    case Kind::real:
        return realText(realNumber(bytes));
    case Kind::date:
        return dateText(realNumber(bytes));
    case Kind::data:
        return bytes.toByteArray().toBase64();
    case Kind::text: {
        if (binary[0] >> 4 == 0x5)
            return isAscii(bytes) ? std::optional(bytes.toByteArray()) : std::nullopt;
        QString text(bytes.size() / 2, Qt::Uninitialized);
        qFromBigEndian<char16_t>(bytes.data(), text.size(), text.data());
        return text.isValidUtf16() ? std::optional(text.toUtf8()) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

std::optional<QByteArray> binarySpelling(Kind kind, const QByteArray &xml) {
    const QByteArray text = xml.trimmed();
    bool isValid = true;
    double real = 0;
    switch (kind) {
    case Kind::no:
        return "\x08";
    case Kind::yes:
        return "\x09";
    case Kind::integer:
        return integerObject(text);
    case Kind::real:
        real = text.toDouble(&isValid);
        return isValid ? std::optional('\x23' + bigEndian(std::bit_cast<quint64>(real), 8)) : std::nullopt;
    case Kind::date: {
        const auto date = QDateTime::fromString(QString::fromUtf8(text), Qt::ISODate);
        real = double(date.toMSecsSinceEpoch()) / 1000 - referenceDate;
        isValid = date.isValid() && date.timeSpec() == Qt::UTC;
        return isValid ? std::optional('\x33' + bigEndian(std::bit_cast<quint64>(real), 8)) : std::nullopt;
    }
    case Kind::data: {
        const auto data = QByteArray::fromBase64Encoding(text.simplified().replace(' ', ""),
                                                         QByteArray::AbortOnBase64DecodingErrors);
        return data ? std::optional(marker(0x4, quint64(data.decoded.size())) + data.decoded) : std::nullopt;
    }
    case Kind::text:
        return textObject(exactText(xml));
    default:
        return std::nullopt;
    }
}

std::optional<PropertyList> readBinaryPropertyList(const QByteArray &bytes) {
    return BinaryReader(bytes).read();
}

QByteArray writeBinaryPropertyList(const PropertyList &list) {
    return BinaryWriter().write(list);
}

} // namespace platform
