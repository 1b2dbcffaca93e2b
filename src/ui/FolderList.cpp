#include "ui/FolderList.h"

#include "collection/UserFiles.h"
#include "discovery/MainQueue.h"
#include "platform/Account.h"
#include "platform/posix/Text.h"

namespace fs = std::filesystem;

namespace {

// As the views take it.
QVariantList entriesOf(const fs::path &folder) {
    QVariantList entries;
    for (const auto &[file, isFolder] : UserFiles::choicesIn(folder)) {
        const QString name = platform::displayText(file.filename());
        entries.append(QVariantMap{{QStringLiteral("name"), isFolder ? name + u'/' : name},
                                   {QStringLiteral("file"), FolderList::encoded(file)},
                                   {QStringLiteral("isFolder"), isFolder}});
    }
    return entries;
}

} // namespace

FolderList::FolderList(QObject *parent)
    : QObject(parent) {
    show(platform::homeFolder().value_or("/"));
}

void FolderList::open(const QString &file) {
    show(decoded(file));
    list();
}

void FolderList::openParent() {
    show(m_folder.parent_path());
    list();
}

QString FolderList::encoded(const fs::path &file) {
    return QString::fromLatin1(QByteArray::fromStdString(file.native()).toPercentEncoding("/"));
}

fs::path FolderList::decoded(const QString &file) {
    return QByteArray::fromPercentEncoding(file.toLatin1()).toStdString();
}

void FolderList::show(const fs::path &folder) {
    m_folder = folder;
    path = platform::displayText(folder);
    hasParent = folder.has_relative_path();
    entries = QVariantList();
}

void FolderList::list() {
    isListed = false;
    const auto ask = [folder = m_folder] { return entriesOf(folder); };
    const auto take = [this, folder = m_folder](const QVariantList &found) {
        // Unless the user has gone on to another folder.
        if (m_folder != folder)
            return;
        entries = found;
        isListed = true;
    };
    besideMainQueue("Folder", ask, whileAlive(this, take));
}
