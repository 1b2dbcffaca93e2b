// What the diagnostics window shows: the fields that the flow sets and the views read. What follows from
// these and from the run, the views read from ContentView.
//
// Main thread. A field that changes redraws what depends on it. Colours are names of the asset catalogue
// (Theme.qml) or the system colours "white" and "clear".
#pragma once

#include "discovery/Constants.h"

#include <QObject>
#include <QProperty>
#include <QString>
#include <QtQmlIntegration>
#include <filesystem>
#include <optional>
#include <vector>

/// The texts that more than one place needs.
namespace Texts {

// The primary button's captions, which are also the states of the window.
inline const QString startDiagnostics = QStringLiteral("Start diagnostics");
inline const QString stopDiagnostics = QStringLiteral("Stop diagnostics");
inline const QString shareLogs = QStringLiteral("Share logs");
inline const QString stopUpload = QStringLiteral("Stop upload");
inline const QString close = QStringLiteral("Close");

inline const QString copyId = QStringLiteral("Copy ID");

// What is collected. Spaces separate the columns; the view decides where the second one begins.
inline const QString basicLogs = QStringLiteral("BASIC LOGS\n"
                                                "• Lumadoc configuration, settings and logs\n"
                                                "• System configuration and settings");
inline const QString advancedLogs = QStringLiteral("BASIC LOGS") + QString(57, u' ') +
                                    QStringLiteral("ADVANCED LOGS\n"
                                                   "• Lumadoc configuration, settings and logs") +
                                    QString(8, u' ') +
                                    QStringLiteral("• Full Lumadoc data dump\n"
                                                   "• System configuration and settings");
inline const QString advancedLogsWithApps =
    advancedLogs + QString(18, u' ') + QStringLiteral("• System apps version information");

} // namespace Texts

/// A field with its initial value: to the views a property, here assigned and read as a value.
#define LUMAMON_FIELD(Type, name, initial)                                                                   \
    Q_PROPERTY(Type name READ name##Value WRITE set_##name BINDABLE name##Binding)                           \
public:                                                                                                      \
    QProperty<Type> name{initial};                                                                           \
    Type name##Value() const {                                                                               \
        return name.value();                                                                                 \
    }                                                                                                        \
    void set_##name(const Type &value) {                                                                     \
        name = value;                                                                                        \
    }                                                                                                        \
    QBindable<Type> name##Binding() {                                                                        \
        return {&name};                                                                                      \
    }

class ContentViewState : public QObject {
    Q_OBJECT
    QML_ANONYMOUS

public:
    using QObject::QObject;

    /// Appearance of the system.
    enum class ColorScheme { light, dark };
    Q_ENUM(ColorScheme)

    /// Second line of the upload-failed block.
    enum class SecondaryError { none, network, canceled };
    Q_ENUM(SecondaryError)

    /// Which alert is up. `noAlert`: none is chosen.
    enum class ActiveAlert { noAlert, fileSize, replaceFile };
    Q_ENUM(ActiveAlert)

    /// Which box of the form has the keyboard focus. `noField`: none has.
    enum class Field { noField, feedback, email };
    Q_ENUM(Field)

    // The limits count what a person counts as characters.
    LUMAMON_FIELD(int, maxEmailCharacterCount, 40)
    LUMAMON_FIELD(int, maxFeedbackCharacterCount, 2000)

    // Texts.
    LUMAMON_FIELD(QString, logLabel, QStringLiteral(" "))
    LUMAMON_FIELD(
        QString, captureInfoLabel,
        QStringLiteral("Lumadoc Diagnostics needs to collect the following information to address the issue"))
    LUMAMON_FIELD(QString, startButtonLabel, Texts::startDiagnostics)
    LUMAMON_FIELD(QString, feedbackLabel, QStringLiteral("Please tell us what led to the error (required)"))
    LUMAMON_FIELD(
        QString, emailLabel,
        QStringLiteral("Brennic can contact me for fixes at the following email address (optional)"))
    LUMAMON_FIELD(QString, captureDetails, Texts::basicLogs)

    // What is shown, and how.
    LUMAMON_FIELD(ContentViewState::ColorScheme, colorScheme, ColorScheme::light)
    LUMAMON_FIELD(bool, isLogEditorVisible, true)
    LUMAMON_FIELD(bool, isFeedbackLayoutVisible, false)
    LUMAMON_FIELD(bool, isLogLabelVisible, true)
    LUMAMON_FIELD(bool, isCloseLayoutVisible, false)
    LUMAMON_FIELD(bool, isFeedbackEmailLayoutDisabled, false)
    LUMAMON_FIELD(bool, isUploadFailedLayoutVisible, false)
    LUMAMON_FIELD(bool, getSpinDump, false)
    LUMAMON_FIELD(bool, getInstalledApps, false)
    LUMAMON_FIELD(bool, primaryButtonDisabled, false)
    LUMAMON_FIELD(bool, advanceLogToggleDisabled, false)
    LUMAMON_FIELD(bool, viewlogsButtonDisabled, true)
    LUMAMON_FIELD(QString, feedbackText, QString())
    LUMAMON_FIELD(QString, emailText, QString())
    LUMAMON_FIELD(bool, isAnimating, true)
    LUMAMON_FIELD(QString, primaryButtonColor, QStringLiteral("PrimaryColor"))
    LUMAMON_FIELD(QString, primaryButtonTextColor, QStringLiteral("white"))
    LUMAMON_FIELD(bool, thickBorderButtonStyle, false)
    LUMAMON_FIELD(QString, thickBorderButtonColor, QStringLiteral("BackgroundColor"))
    LUMAMON_FIELD(bool, isEditingEnabled, false)
    LUMAMON_FIELD(bool, isLoggingCompleteVisible, false)
    /// The advanced logs were asked for, and the product could not be sampled.
    LUMAMON_FIELD(bool, isSampleMissing, false)
    LUMAMON_FIELD(bool, isStandaloneVersion, false)
    LUMAMON_FIELD(ContentViewState::SecondaryError, isSecondaryError, SecondaryError::none)
    LUMAMON_FIELD(bool, isInitialFocus, true)
    LUMAMON_FIELD(bool, isCopyHovering, false)
    LUMAMON_FIELD(QString, CopyText, Texts::copyId)

    // Attachments.
    LUMAMON_FIELD(bool, isFilePickerPresented, false)
    /// The window shows its own file panel, since the desktop has none.
    LUMAMON_FIELD(bool, isFilePanelVisible, false)
    LUMAMON_FIELD(std::vector<std::filesystem::path>, fileProcessingQueue,
                  std::vector<std::filesystem::path>())
    LUMAMON_FIELD(qint64, filesCountInDestination, 0)
    LUMAMON_FIELD(std::optional<std::filesystem::path>, currentFileToProcess, std::nullopt)
    LUMAMON_FIELD(QString, fileExistsAlertMessage, QString())
    LUMAMON_FIELD(bool, showAlert, false)
    LUMAMON_FIELD(ContentViewState::ActiveAlert, activeAlert, ActiveAlert::noAlert)
    LUMAMON_FIELD(ContentViewState::Field, feedbackFormFocus, Field::noField)
    LUMAMON_FIELD(double, AttachFileButtonWidth, Constants::AttachFileButtonWidth)

    LUMAMON_FIELD(bool, isLumaloggingEnabled, true)
    /// A capture, a compression or an upload is under way.
    LUMAMON_FIELD(bool, isRunning, false)
};
