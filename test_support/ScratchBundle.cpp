#include "test_support/ScratchBundle.h"

#include "test_support/ScratchHome.h"

#include <QRegularExpression>
#include <stdexcept>

namespace test_support {

namespace fs = std::filesystem;

ScratchBundle::ScratchBundle(const fs::path &shipped, const fs::path &folder)
    : m_path(folder / fs::canonical(shipped).filename()) {
    fs::copy(shipped, m_path, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

void ScratchBundle::setValue(const std::string &key, const std::string &value) const {
    const QString name = QStringLiteral("<key>%1</key>").arg(QString::fromStdString(key));
    const QRegularExpression entry(name + QStringLiteral("\\s*<(string>[^<]*</string|true/|false/)>"));
    const fs::path info = m_path / "Contents/Info.plist";
    QString text = QString::fromUtf8(readFile(info));
    if (!text.contains(entry))
        throw std::runtime_error("Info.plist has no " + key);
    text.replace(entry, value.empty() ? QString() : name + QString::fromStdString(value));
    writeFile(info, text.toUtf8());
}

} // namespace test_support
