#include "platform/posix/PropertyListTally.h"

#include <QString>
#include <algorithm>
#include <bit>

namespace platform {

namespace {

bool isBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Characters that XML cannot hold as themselves.
bool isForbidden(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 && !isBlank(byte);
}

class XmlWalk {
public:
    XmlWalk(const QByteArray &bytes, PropertyListTally &tally)
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
        return !lower.contains("encoding") || lower.contains("utf-8") || lower.contains("us-ascii");
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
                const PropertyListToken token =
                    tag.name == "dict" ? PropertyListToken::dictionary : PropertyListToken::array;
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
            return m_tally.scalar(PropertyListToken::text, content);
        if (tag.name == "data") {
            content.removeIf(isBlank);
            return m_tally.scalar(PropertyListToken::data, content);
        }
        content = content.trimmed();
        if (tag.name == "integer")
            return m_tally.scalar(PropertyListToken::integer, content);
        if (tag.name == "date")
            return m_tally.scalar(PropertyListToken::date, content);
        if (tag.name == "real")
            return real(content);
        return content.isEmpty() && (tag.name == "true" || tag.name == "false") &&
               m_tally.scalar(tag.name == "true" ? PropertyListToken::yes : PropertyListToken::no, {});
    }

    // The number counts and not its spelling, where it is one.
    bool real(const QByteArray &content) {
        bool isNumber = false;
        const auto bits = std::bit_cast<std::array<char, sizeof(double)>>(content.toDouble(&isNumber));
        return m_tally.scalar(PropertyListToken::real,
                              isNumber ? QByteArrayView(bits) : QByteArrayView(content));
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
            m_tally.note(PropertyListToken::writtenReturn, {}); // as itself it would be read as a line's end
        content.append(QString::fromUcs4(&code, 1).toUtf8());
        return true;
    }

    const QByteArrayView m_text;
    PropertyListTally &m_tally;
    qsizetype m_at = 0;
    qint64 m_movedBytes = 0;
};

} // namespace

bool walkXmlPropertyList(const QByteArray &bytes, PropertyListTally &tally) {
    return XmlWalk(bytes, tally).run();
}

} // namespace platform
