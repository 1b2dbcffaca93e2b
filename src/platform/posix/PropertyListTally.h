// What a walk over a property list adds up: its values against the limits, and a fingerprint of them.
//
// Used by the two walks, by one thread at a time.
#pragma once

#include "platform/posix/PropertyListCheck.h"

#include <QByteArrayView>
#include <QCryptographicHash>
#include <QSet>
#include <QtEndian>
#include <array>
#include <plist/plist.h>
#include <vector>

namespace platform {

// A token of the fingerprint begins with its kind.
enum class PropertyListToken : char {
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
class PropertyListTally {
public:
    bool open(PropertyListToken container) {
        m_levels.push_back({container == PropertyListToken::dictionary, false, {}});
        note(container, {});
        return ++m_nodes <= PropertyListLimits::nodes && m_levels.size() <= PropertyListLimits::depth;
    }

    bool close() {
        if (m_levels.empty() || m_levels.back().valueIsNext)
            return false;
        m_levels.pop_back();
        note(PropertyListToken::end, {});
        return true;
    }

    bool scalar(PropertyListToken token, QByteArrayView content) {
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
        return scalar(PropertyListToken::text, name) && lookup(PLIST_KEY, name);
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

    void note(PropertyListToken token, QByteArrayView content) {
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

/// Walks an XML list, or a binary one; false where it is not well formed or goes beyond the limits.
bool walkXmlPropertyList(const QByteArray &bytes, PropertyListTally &tally);
bool walkBinaryPropertyList(const QByteArray &bytes, PropertyListTally &tally);

} // namespace platform
