#include "ui/FolderList.h"

#include "collection/UserFiles.h"
#include "discovery/MainQueue.h"
#include "platform/Account.h"
#include "platform/posix/Text.h"

#include <QCollator>
#include <QPointer>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

struct Entry {
    QString name;
    QString file;
    bool isFolder = false;
};

// What cannot be read has no entries.
QVariantList entriesOf(const fs::path &folder) {
    std::vector<Entry> found;
    std::error_code error;
    for (auto each = fs::directory_iterator(folder, error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        const fs::path &path = each->path();
        std::error_code ignored;
        const bool isFolder = each->is_directory(ignored);
        if (path.filename().native().starts_with('.') || !(isFolder || UserFiles::canBeAttached(path)))
            continue;
        found.push_back({platform::displayText(path.filename()), FolderList::encoded(path), isFolder});
    }
    QCollator byName;
    byName.setCaseSensitivity(Qt::CaseInsensitive);
    std::ranges::sort(found, [&](const Entry &one, const Entry &other) {
        return one.isFolder != other.isFolder ? one.isFolder : byName.compare(one.name, other.name) < 0;
    });
    QVariantList entries;
    for (const auto &[name, file, isFolder] : found)
        entries.append(QVariantMap{{QStringLiteral("name"), isFolder ? name + u'/' : name},
                                   {QStringLiteral("file"), file},
                                   {QStringLiteral("isFolder"), isFolder}});
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
    isListed = false;
    entries = QVariantList();
}

void FolderList::list() {
    const auto ask = [folder = m_folder] { return entriesOf(folder); };
    besideMainQueue("Folder", ask, [list = QPointer(this), folder = m_folder](const QVariantList &found) {
        // Unless the user has gone on to another folder.
        if (!list || list->m_folder != folder)
            return;
        list->entries = found;
        list->isListed = true;
    });
}
