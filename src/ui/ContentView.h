// The one window of window mode: it walks the user through a diagnostics run. Every step calls the operations
// of the collection and the packaging, and sets the window's own fields.
//
// Main thread. The views call the functions below for what the user does; the only fields they write are
// those of the keyboard focus and the pointer.
#pragma once

#include "collection/StatusText.h"
#include "discovery/RunState.h"
#include "packaging/UploadError.h"
#include "platform/posix/Text.h"
#include "ui/Attachments.h"

#include <QQuickTextDocument>
#include <memory>

class ContentView : public Attachments {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString logId READ logId CONSTANT)
    Q_PROPERTY(QString supportEmail READ supportEmail CONSTANT)

public:
    explicit ContentView(QObject *parent = nullptr);
    ~ContentView() override;

    QString logId() const { return UtilityFunctions::UniqueId; }
    QString supportEmail() const;

    /// Whether the archive was started, which fixes the form for the life of the process.
    LUMAMON_FIELD(bool, isFormFrozen, UtilityFunctions::ShareButtonPressed)
    /// Follows another field.
    LUMAMON_FIELD(bool, isEmailValid, true)

    /// A press of the primary button; what it does follows in a later turn of the main thread.
    Q_INVOKABLE void primaryButtonPressed();

    /// What a start came to; refused when both editions run.
    enum class Start { refused, done, needsRestart };

    // The steps, by the caption that the primary button has.
    void StartButtonPressed();
    void StartMonitoring();
    void StopMonitoring();
    void ShareButtonPressed();
    void StopShareButtonPressed();

    /// What the upload came to.
    void startUpload(const UploadResult &result);
    /// Opens the user's mail program with a prepared message to `email`.
    Q_INVOKABLE void mailToTrigger(const QString &email);

    /// Shows the run folder in the file browser.
    Q_INVOKABLE void viewLogs();
    /// Puts the Log ID on the pasteboard, and says so for five seconds.
    Q_INVOKABLE void copyLogId();
    /// The window is gone: a later start in this process makes a new workspace.
    Q_INVOKABLE void disappear();

    // Advanced logs: each change also rewrites the list of what is collected.
    Q_INVOKABLE void changeSpinDump(bool on);
    Q_INVOKABLE void changeInstalledApps(bool on);

    // The form: each takes a box's whole text as it is after an edit, and applies the box's rules to it.
    // Gives the place that the caret, which is at `caret`, has in what they leave.
    Q_INVOKABLE int changeFeedback(const QString &text, int caret = 0);
    Q_INVOKABLE int changeEmail(const QString &text, int caret = 0);
    /// Puts the first `limit` characters of what was copied, or of what is selected in whichever program, in
    /// the place of those from `start` to `end`, in one step. Where there are none, nothing is replaced.
    Q_INVOKABLE void paste(QQuickTextDocument *document, int start, int end, bool isSelection, int limit);
    /// What a person counts as characters.
    Q_INVOKABLE qint64 characterCount(const QString &text) const { return platform::characterCount(text); }
    /// Tab or Return in the box, wherever its cursor is: as if it were typed at the end of the text.
    Q_INVOKABLE void leaveFeedback();

Q_SIGNALS:
    /// First of all when the window goes.
    void disappearing();
    /// The Close button was pressed: the program is to end.
    void closeRequested();

private:
    void monitoringStarted(Start start);
    void captureCompleted();
    void shareWhenAttached();
    void buildArchive();
    void sendArchive();
    void uploadArchive();
    void showFailure();
    void showClosingPage();
    void applyFeedbackRules();

    // The status line as worker threads read and write it.
    std::shared_ptr<StatusText> m_status;
    QPropertyNotifier m_statusNotifier;
    // Of the latest upload: what an earlier one reports is not about what the window shows.
    int m_uploadNumber = 0;
};
