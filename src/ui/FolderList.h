// A folder as the window's own file panel shows it: its folders, then the files that can be attached, both by
// name. Hidden ones are left out.
//
// Main thread. The disk is asked on another one; until it has answered, and for as long as it does not, there
// are no entries.
#pragma once

#include "ui/ContentViewState.h"

#include <QVariantList>

class FolderList : public QObject {
    Q_OBJECT
    QML_ELEMENT

public:
    /// The user's home folder, not yet listed.
    explicit FolderList(QObject *parent = nullptr);

    /// As it is shown.
    LUMAMON_FIELD(QString, path, QString())
    LUMAMON_FIELD(bool, hasParent, false)
    LUMAMON_FIELD(bool, isListed, false)
    /// Each has a `name`, a `file`, which is its path in percent-encoding, and `isFolder`.
    LUMAMON_FIELD(QVariantList, entries, QVariantList())

    /// Asks the disk once more.
    Q_INVOKABLE void list();
    Q_INVOKABLE void open(const QString &file);
    Q_INVOKABLE void openParent();

    /// A name of bytes, which need not be text, as the views pass it on.
    static QString encoded(const std::filesystem::path &file);
    static std::filesystem::path decoded(const QString &file);

private:
    void show(const std::filesystem::path &folder);

    std::filesystem::path m_folder;
};
