#include "test_support/ScratchBundle.h"

#include "test_support/ScratchHome.h"

#include <QRegularExpression>
#include <cstdlib>

namespace test_support {

namespace fs = std::filesystem;

ScratchBundle::ScratchBundle(const fs::path &shipped, const fs::path &folder)
    : m_path(folder / fs::canonical(shipped).filename()) {
    fs::copy(shipped, m_path, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

fs::path ScratchBundle::executable() const {
    return m_path / "Contents/Linux" / m_path.stem();
}

fs::path ScratchBundle::info() const {
    return m_path / "Contents/Info.plist";
}

void ScratchBundle::setText(const std::string &key, const std::string &value) const {
    replaceText(key, "<key>" + key + "</key><string>" + value + "</string>");
}

void ScratchBundle::removeText(const std::string &key) const {
    replaceText(key, "");
}

void ScratchBundle::replaceText(const std::string &key, const std::string &replacement) const {
    QString text = QString::fromUtf8(readFile(info()));
    const QRegularExpression entry(
        QStringLiteral("<key>%1</key>\\s*<string>[^<]*</string>").arg(QString::fromStdString(key)));
    if (!text.contains(entry))
        std::abort();
    writeFile(info(), text.replace(entry, QString::fromStdString(replacement)).toUtf8());
}

} // namespace test_support
