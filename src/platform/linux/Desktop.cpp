#include "platform/Desktop.h"

#include "platform/posix/Program.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QGuiApplication>
#include <QUrl>
#include <thread>

namespace platform {

namespace {

// Some of the programs behind it stay until the user closes them, so a thread waits for it.
void openWithDesktop(std::string target) {
    std::thread([target = std::move(target)] {
        runProgram(
            {.path = "/usr/bin/xdg-open", .arguments = {target}, .workingFolder = {}, .variables = {}});
    }).detach();
}

// RFC 8089. By hand, since the name of a folder need not be UTF-8.
QString fileUrl(const std::filesystem::path &path) {
    return QStringLiteral("file://") +
           QString::fromLatin1(QByteArray::fromStdString(path.native()).toPercentEncoding("/"));
}

} // namespace

// https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
void revealFolder(const std::filesystem::path &folder) {
    const auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openWithDesktop(folder.native());
        return;
    }
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowFolders"));
    call.setArguments({QStringList{fileUrl(folder)}, QString()});
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        watcher->deleteLater();
        if (watcher->isError())
            openWithDesktop(folder.native());
    });
}

void openLink(const QByteArray &link) {
    openWithDesktop(link.toStdString());
}

void setPasteboardText(const QString &text) {
    QGuiApplication::clipboard()->setText(text);
}

bool ownsPasteboard() {
    return QGuiApplication::clipboard()->ownsClipboard();
}

} // namespace platform
