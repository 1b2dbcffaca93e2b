#include "platform/FilePanel.h"

#include <QFile>
#include <QFileDialog>
#include <QGuiApplication>
#include <QWindow>

namespace platform {

namespace {

QString filterFor(const QStringList &extensions) {
    QStringList patterns;
    for (const QString &extension : extensions)
        patterns.append(QStringLiteral("*.") + extension);
    return QStringLiteral("Pictures and documents (%1)").arg(patterns.join(u' '));
}

// The panel offers only these, but lets the user type any name.
bool isOffered(const QString &file, const QStringList &extensions) {
    return extensions.contains(file.section(u'/', -1).section(u'.', -1), Qt::CaseInsensitive);
}

} // namespace

// The widget panel, which is the desktop's own where there is one; the one of Qt Quick picks a single file.
void pickFiles(const QStringList &extensions, std::function<void(const PickedFiles &)> picked) {
    QWindow *window = QGuiApplication::focusWindow();
    auto *panel = new QFileDialog;
    panel->setWindowModality(Qt::ApplicationModal);
    panel->setWindowTitle(QStringLiteral("Attach files"));
    panel->setFileMode(QFileDialog::ExistingFiles);
    panel->setNameFilter(filterFor(extensions));
    panel->setDirectory(QDir::homePath());
    QObject::connect(panel, &QFileDialog::finished, panel, [=](int result) {
        std::vector<std::filesystem::path> files;
        for (const QString &file : result == QDialog::Accepted ? panel->selectedFiles() : QStringList()) {
            if (isOffered(file, extensions))
                files.emplace_back(QFile::encodeName(file).toStdString());
        }
        panel->deleteLater();
        picked(files);
    });
    panel->winId();
    panel->windowHandle()->setTransientParent(window);
    panel->show();
}

} // namespace platform
