// Changes desktop entries at random, always in the same way, and reads them.
#include "platform/linux/helpers/system_profiler/DesktopEntryFuzz.h"

#include <gtest/gtest.h>
#include <random>

namespace system_profiler {

namespace {

const std::vector<QByteArray> &seeds() {
    static const std::vector<QByteArray> entries = {
        "[Desktop Entry]\nType=Application\nName=Viewer\nExec=/usr/bin/viewer %U\nTryExec=/bin/sh\n",
        "[Desktop Entry]\r\nType=Application\r\nName=A\\sB\\nC\\\\\r\nExec=\"/opt/The \\\\\"B\\\\\"/x\" "
        "100%% \r\n",
        "# c\n[Desktop Entry]\nName[de]=B\nName=B\nType=Application\nExec=env -u A B=1 sh -c \"a \\\\$b\"\n"
        "[Desktop Action New]\nName=N\nExec=n\n",
        "[Desktop "
        "Entry]\nType=Application\nName=\xe6\x97\xa5\xe6\x9c\xac\nDBusActivatable=true\nX-Flatpak=org.x.Y\n",
    };
    return entries;
}

// Pieces that mean something to the reader.
const std::vector<QByteArray> &pieces() {
    static const std::vector<QByteArray> texts = {
        "[Desktop Entry]\n",
        "Exec=",
        "Name=",
        "Type=Application\n",
        "Hidden=true\n",
        "\\n",
        "\\s",
        "\\",
        "\"",
        "%%",
        "env ",
        "-u ",
        "=",
        "[",
        "]",
        "\n",
        "\r",
        "\xe2\x80\xa8",
        "\xff",
        QByteArray("\0", 1),
        "\xc2\x85",
    };
    return texts;
}

class Mutator {
public:
    QByteArray next() {
        QByteArray entry = pick(seeds());
        for (std::size_t count = 1 + below(4); count > 0; --count)
            change(entry);
        return entry;
    }

private:
    // Not a distribution of the library, which may differ from machine to machine.
    std::size_t below(std::size_t limit) { return m_random() % limit; }
    const QByteArray &pick(const std::vector<QByteArray> &texts) { return texts[below(texts.size())]; }

    void change(QByteArray &entry) {
        const auto place = static_cast<qsizetype>(below(static_cast<std::size_t>(entry.size()) + 1));
        const auto length = static_cast<qsizetype>(below(20));
        switch (below(5)) {
        case 0:
            entry.insert(place, pick(pieces()));
            break;
        case 1:
            entry.remove(place, length);
            break;
        case 2:
            entry.insert(place, entry.mid(static_cast<qsizetype>(below(100)), length));
            break;
        case 3:
            entry.truncate(entry.size() - length / 4);
            break;
        default:
            if (place < entry.size())
                entry[place] = static_cast<char>(below(160));
        }
    }

    std::mt19937_64 m_random{20'261'121};
};

TEST(DesktopEntryFuzz, ReadsChangedEntriesSoundly) {
    constexpr int rounds = 20'000;
    Mutator mutator;
    int applications = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray bytes = mutator.next();
        ASSERT_TRUE(readsSoundly(bytes)) << bytes.toPercentEncoding().toStdString();
        QString problem;
        applications += applicationEntry(bytes, problem) ? 1 : 0;
    }
    // Most of the rounds would test little if most were turned away.
    EXPECT_GT(applications, rounds / 4);
    EXPECT_LT(applications, rounds * 9 / 10);
}

} // namespace

} // namespace system_profiler
