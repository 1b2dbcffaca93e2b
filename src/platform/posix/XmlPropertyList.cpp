#include "platform/posix/PropertyList.h"

#include <QRegularExpression>
#include <QStringDecoder>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <algorithm>
#include <iterator>

namespace platform {

namespace {

using Kind = PropertyList::Kind;

// By kind; those without a name are in binary lists only.
constexpr QStringView elements[] = {u"false",  u"true", u"integer", u"real", u"date", u"data",
                                    u"string", {},      u"array",   {},      u"dict"};

// The text of a document, whose encoding its first bytes show, else its declaration; UTF-8 without either.
std::optional<QString> decoded(const QByteArray &bytes) {
    auto encoding = QStringConverter::encodingForData(bytes, u'<');
    if (!encoding) {
        static const QRegularExpression declaration(
            QStringLiteral("^\\s*<\\?xml[^>]*\\sencoding\\s*=\\s*[\"']([\\w.-]+)"));
        const QString head = QString::fromLatin1(bytes.left(200));
        const QByteArray name = declaration.match(head).captured(1).toLatin1().toLower();
        const bool isUtf8 = name.isEmpty() || name == "us-ascii";
        encoding = isUtf8 ? QStringConverter::Utf8 : QStringConverter::encodingForName(name.constData());
    }
    if (!encoding)
        return std::nullopt;
    QStringDecoder decoder(*encoding, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text.trimmed());
}

// The size of the tag that `text` begins with; -1 where it is long or declares something.
qsizetype tagSize(QStringView text) {
    static constexpr qsizetype limit = 1000;
    QChar quote;
    for (qsizetype at = 1; at < std::min(text.size(), limit); ++at) {
        const QChar character = text[at];
        if (!quote.isNull())
            quote = character == quote ? QChar() : quote;
        else if (character == u'"' || character == u'\'')
            quote = character;
        else if (character == u'>' || character == u'[')
            return character == u'>' ? at + 1 : -1;
    }
    return -1;
}

// Qt's reader takes quadratic time for the attributes of a tag, and unfolds the entities that a document type
// declares in brackets. Property lists have few attributes and no declarations.
bool isPlain(QStringView text) {
    qsizetype at = 0;
    while (at >= 0 && (at = text.indexOf(u'<', at)) >= 0) {
        const QStringView markup = text.sliced(at);
        const qsizetype size = markup.startsWith(u"<!--")        ? markup.indexOf(u"-->", 4)
                               : markup.startsWith(u"<![CDATA[") ? markup.indexOf(u"]]>")
                               : markup.startsWith(u"<?")        ? markup.indexOf(u"?>")
                                                                 : tagSize(markup);
        if (size < 0)
            return false;
        at += size;
    }
    return true;
}

// Whatever is wrong becomes an error of Qt's reader, which reads nothing more after one.
class XmlReader {
public:
    explicit XmlReader(const QString &text)
        : m_reader(text) {}

    std::optional<PropertyList> read() {
        while (next() == QXmlStreamReader::DTD)
            ;
        const bool isFramed = m_reader.isStartElement() && m_reader.name() == u"plist";
        if (isFramed)
            next();
        auto list = value(1);
        if (isFramed && next() != QXmlStreamReader::EndElement)
            m_reader.raiseError();
        return next() == QXmlStreamReader::EndDocument ? std::optional(std::move(list)) : std::nullopt;
    }

private:
    // Goes to the next token outside texts that has a meaning.
    QXmlStreamReader::TokenType next() {
        do {
            m_reader.readNext();
        } while (m_reader.isStartDocument() || m_reader.isComment() || m_reader.isProcessingInstruction() ||
                 m_reader.isWhitespace());
        return m_reader.tokenType();
    }

    PropertyList value(int depth) {
        const auto *element = std::find(std::begin(elements), std::end(elements), m_reader.name());
        const auto kind = Kind(element - std::begin(elements));
        if (!m_reader.isStartElement() || element == std::end(elements) || !m_reader.attributes().isEmpty() ||
            depth > PropertyList::limitDepth || ++m_values > PropertyList::limitValues)
            m_reader.raiseError();
        if (kind == Kind::array || kind == Kind::dictionary)
            return container(kind, depth);
        const QString content = text();
        if (kind <= Kind::yes && !content.trimmed().isEmpty())
            m_reader.raiseError();
        return {kind, PropertyListFormat::xml, content.toUtf8()};
    }

    PropertyList container(Kind kind, int depth) {
        std::vector<PropertyList::Entry> entries;
        while (next() == QXmlStreamReader::StartElement) {
            QString key;
            if (kind == Kind::dictionary) {
                if (m_reader.name() != u"key" || ++m_values > PropertyList::limitValues)
                    m_reader.raiseError();
                key = text();
                next();
            }
            entries.push_back({key, value(depth + 1)});
        }
        if (!m_reader.isEndElement())
            m_reader.raiseError();
        return {kind, std::move(entries)};
    }

    // The text up to the end of the element, which holds nothing else.
    QString text() {
        QString result;
        while (m_reader.readNext() != QXmlStreamReader::EndElement && !m_reader.atEnd()) {
            if (m_reader.isCharacters())
                result += m_reader.text();
            else if (!m_reader.isComment() && !m_reader.isProcessingInstruction())
                m_reader.raiseError();
        }
        return result;
    }

    QXmlStreamReader m_reader;
    int m_values = 0;
};

class XmlWriter {
public:
    QByteArray write(const PropertyList &list) {
        m_writer.setAutoFormatting(true);
        m_writer.setAutoFormattingIndent(-1);
        m_writer.writeStartDocument();
        m_writer.writeDTD(QStringLiteral("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
        m_writer.writeStartElement(QStringLiteral("plist"));
        m_writer.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        value(list);
        m_writer.writeEndDocument();
        return m_isValid && !m_writer.hasError() ? m_bytes : QByteArray();
    }

private:
    void value(const PropertyList &list) {
        const QString name = elements[std::size_t(list.kind())].toString();
        const auto spelling = list.spelling(PropertyListFormat::xml);
        m_isValid = m_isValid && !name.isEmpty() && spelling;
        if (!m_isValid)
            return;
        if (list.kind() < Kind::array)
            return element(name, exactText(*spelling));
        m_writer.writeStartElement(name);
        for (const auto &[key, value] : list.entries()) {
            if (list.isDictionary())
                element(QStringLiteral("key"), key);
            this->value(value);
        }
        m_writer.writeEndElement();
    }

    // A carriage return that is written as itself would be read as the end of a line.
    void element(const QString &name, const QString &content) {
        m_isValid = m_isValid && content.isValidUtf16();
        if (content.isEmpty())
            return m_writer.writeEmptyElement(name);
        m_writer.writeStartElement(name);
        const QStringList lines = content.split(u'\r');
        for (const QString &line : lines) {
            if (&line != &lines.first())
                m_writer.writeEntityReference(QStringLiteral("#13"));
            m_writer.writeCharacters(line);
        }
        m_writer.writeEndElement();
    }

    QByteArray m_bytes;
    QXmlStreamWriter m_writer{&m_bytes};
    bool m_isValid = true;
};

} // namespace

std::optional<PropertyList> readXmlPropertyList(const QByteArray &bytes) {
    const auto text = decoded(bytes);
    return text && isPlain(*text) ? XmlReader(*text).read() : std::nullopt;
}

QByteArray writeXmlPropertyList(const PropertyList &list) {
    return XmlWriter().write(list);
}

} // namespace platform
