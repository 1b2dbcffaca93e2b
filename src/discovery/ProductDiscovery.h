// Finding the editions of the product that are installed and running, and choosing the one to diagnose.
//
// What is found stays in the values of RunState.h. One thread at a time, except where said otherwise; none of
// the functions waits for the main thread.
#pragma once

#include "discovery/RunState.h"

#include <functional>

namespace UtilityFunctions {

/// A copy's version text and the track that follows from it.
struct AppVersion {
    QString version;
    /// None when the version's last piece begins with none of the known digits.
    std::optional<QString> flavour;
};

/// What the bundle at `url` says of its version; none without a readable version text. Changes nothing.
std::optional<AppVersion> GetFlavourFromAppVersion(const std::filesystem::path &url);

/// Makes the bundle at `url` the copy under diagnosis: version, track ("Trunk" when unknown) and location.
/// Does nothing without a readable version text.
void FlavourFromAppVersion(const std::filesystem::path &url);

/// The first installed copy of the edition and track that the command line names, which becomes the only
/// installed one known; none, with nothing changed, when there is none. Both are compared ignoring case.
OptionalURL IsFlavourValid(const QString &product, const QString &track);

/// Adds every installed copy of the paid, or of the free edition to its list.
void setLumadocInstalledPath();
void setPellixInstalledPath();

/// Whether an application with this identifier runs; the oldest such one becomes the one under diagnosis.
bool IsApplicationRunning(const QString &bundleIdentifier);

/// Lists the editions that run in `LumadocRunningInstance`.
void FindRunningEditions();

/// When no edition runs, takes an installed one, the paid edition first. With `displayAlert` an alert says
/// when there is none.
void SetLumadocRunningOrInstalledInstances(bool displayAlert);

/// Picks the edition, extends the output folder by its name and makes that folder.
void SetLumadocOrPellix();

/// Whether both editions run; an alert then says so, without waiting for the answer.
bool IsMultipleInstance();

/// Takes the process identifier of the edition that runs now: the user may have restarted it. Any one thread.
void VerifyApplicationProcess();

/// Whether an application with this process identifier, in decimal, runs. Any one thread.
bool IsProcessRunning(const QString &processId);

/// Whether the product should be restarted so that it logs in detail from its start.
bool IsLumadocRestartRequired();

/// Shows a modal alert with one button from a later turn of the main thread. Any thread; returns at once.
void displayAlert(const QString &title, const QString &message, const QString &buttonTitle);

/// Shows an alert after those that are up or waiting, and returns at once. Main thread. Set by the front end
/// that has a window; silent mode, which asks for no alert, has none.
inline std::function<void(const QString &title, const QString &message, const QString &buttonTitle)>
    alertPresenter;

} // namespace UtilityFunctions
