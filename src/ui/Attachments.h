// Files that the user attaches: picked, measured, copied in one after the other, counted and removed; and
// what is not attached, with its reason.
//
// Main thread. The disk is asked on other threads, one request at a time and in the order in which the user
// made them: a slow one never stops the window, and one that does not answer any more costs only its files.
#pragma once

#include "collection/UserFiles.h"
#include "platform/Desktop.h"
#include "ui/ContentViewState.h"

#include <QStringList>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <variant>

class Attachments : public ContentViewState {
    Q_OBJECT
    QML_ANONYMOUS

public:
    explicit Attachments(QObject *parent = nullptr);

    /// How many files are attached; empty when there are none. Follows another field.
    LUMAMON_FIELD(QString, attachedFilesLabel, QString())
    /// The disk is still busy with what the user has picked or removed.
    LUMAMON_FIELD(bool, isAttaching, false)

    /// Opens the desktop's file panel, else the window's own; what comes of it goes to `filesPicked`.
    Q_INVOKABLE void presentFilePicker();
    /// The window's own panel is done; `picked`, as FolderList names files, is empty when it was cancelled.
    Q_INVOKABLE void closeFilePanel(const QStringList &picked);

    using Files = UserFiles::Files;
    using Clash = UserFiles::Clash;
    /// The files that the user picked, none when the panel was cancelled; or what failed.
    using PickedFiles = std::variant<Files, QString>;
    void filesPicked(const PickedFiles &picked);

    /// Files picked: all those that can be attached are copied, or none when they are too large together with
    /// what is attached and what waits.
    void attach(const Files &files);

    /// How long the disk has for a file that the user picked. It is then left out, and the next one follows.
    static inline std::chrono::milliseconds patience = std::chrono::minutes(1);

    /// Copies the first file that waits, and then the others, until one needs the user's decision.
    void processNextFile();
    void replaceFileAndContinue();
    /// The user has answered the alert that is up; only the question whether to replace a file can be
    /// confirmed.
    Q_INVOKABLE void answerAlert(bool confirmed);

    /// Removes what is attached, and forgets what waits.
    Q_INVOKABLE void removeAllUserFiles();
    void updateFileCount();

protected:
    /// Called once, as soon as nothing is left to do without the user; with false when the user is being told
    /// or asked something.
    std::function<void(bool isUndisturbed)> m_whenAttached;

private:
    template <typename Answer>
    using Request = std::function<Answer(const Files &waiting, const UserFiles::Decision &decision)>;
    // Calls `request` with the files that wait at that time, and `done` with its answer; or with `otherwise`
    // when there is none in time.
    template <typename Answer>
    void askDisk(const Request<Answer> &request, const std::function<void(const Answer &)> &done,
                 const std::optional<Answer> &otherwise = std::nullopt);
    bool isAsking() const;
    void showAlertOf(ActiveAlert kind);
    void copy(const std::filesystem::path &file, Clash clash);
    void dropFirstAndGoOn(std::chrono::milliseconds delay);
    void settle();

    // The latest panel; it closes with the window.
    std::unique_ptr<platform::FileChooser> m_fileChooser;
    // What the disk is still to be asked, the first being under way.
    std::deque<std::function<void()>> m_requests;
    // A file is under way, or the next one follows in a later turn.
    bool m_isCopying = false;
    // What the user is still to be told: names with their reasons.
    QStringList m_leftOut;
};
