// An application bundle: the folder `X.app` with `Contents/Info.plist`, and what that file says.
//
// A value: it does not change when the file does. Any thread may use it.
#pragma once

#include "platform/posix/PropertyList.h"

#include <QString>
#include <filesystem>
#include <optional>

namespace platform {

/// The identifiers of the product's bundles: the paid edition's, the free edition's.
inline const QString productBundleIdentifiers[] = {QStringLiteral("com.brennic.LumadocPE"),
                                                   QStringLiteral("com.brennic.Pelx")};

class Bundle {
public:
    /// The bundle around the running executable, found from the executable's real path on the first call;
    /// none when the program is not in one.
    static const std::optional<Bundle> &main();

    /// The bundle at `path`; none when there is no readable dictionary in its `Contents/Info.plist`.
    static std::optional<Bundle> at(const std::filesystem::path &path);

    /// The nearest bundle that holds `path`; none when no folder above it is one.
    static std::optional<Bundle> around(const std::filesystem::path &path);

    const std::filesystem::path &path() const { return m_path; }

    /// The value of an Info.plist key when it is a text, or a Boolean.
    std::optional<QString> text(const char *key) const;
    std::optional<bool> flag(const char *key) const;

    std::optional<QString> identifier() const { return text("CFBundleIdentifier"); }
    std::optional<QString> shortVersion() const { return text("CFBundleShortVersionString"); }

    /// Where this system keeps the bundle's main executable; none when the bundle names none, or one with a
    /// slash, which could be elsewhere.
    std::optional<std::filesystem::path> executable() const;

    /// Where the bundle keeps a module that its program loads when it is needed.
    std::filesystem::path module(const std::string &name) const;

private:
    Bundle(std::filesystem::path path, PropertyList info);

    std::filesystem::path m_path;
    PropertyList m_info;
};

} // namespace platform
