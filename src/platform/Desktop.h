// What the desktop does for the window: file browser, mail program, pasteboard, file panel, appearance.
//
// Main thread. The functions return at once.
#pragma once

#include <QByteArray>
#include <QString>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

/// Shows a folder in the file browser. `failed` is called where the desktop could not do it, on any thread,
/// within 20 seconds.
void revealFolder(const std::filesystem::path &folder, const std::function<void()> &failed);

/// Opens a link, already encoded, with the program that the user has chosen for its scheme. `failed` as
/// above.
void openLink(const QByteArray &link, const std::function<void()> &failed);

/// Replaces what is on the pasteboard by this text.
void setPasteboardText(const QString &text);

/// Whether it still holds what this program put there.
bool ownsPasteboard();

/// The desktop's panel for choosing files. Closes when the object goes.
class FileChooser {
public:
    /// What the user chose, none when the panel was cancelled; empty where the desktop has no such panel.
    using Files = std::optional<std::vector<std::filesystem::path>>;

    /// Opens the panel, which offers the files that have one of the extensions; `kind` is what these are
    /// called. `chosen` is called once, in a later turn of the main thread, and may not destroy the object.
    FileChooser(const QString &title, const QString &kind, const QStringList &extensions,
                std::function<void(Files)> chosen);
    ~FileChooser();

private:
    class Request;
    std::unique_ptr<Request> m_request;
};

/// From now on calls `reopen` each time the user opens the program `identifier` again while it runs, or the
/// desktop asks for its window. Once in a process, for as long as the application object lives.
void onReopen(const QString &identifier, std::function<void()> reopen);

/// Whether the program stays when its last window has closed.
bool outlivesItsWindow();

/// Whether a window opens at its default size; otherwise as small as it may be.
bool hasDefaultWindowSize();

enum class ColorScheme { light, dark };

/// Watches which appearance the user has chosen for the system, for as long as it lives.
class Appearance {
public:
    /// `changed` is called with the present appearance before this returns, and again with each new one.
    explicit Appearance(std::function<void(ColorScheme)> changed);
    ~Appearance();

private:
    class Watcher;
    std::unique_ptr<Watcher> m_watcher;
};

} // namespace platform
