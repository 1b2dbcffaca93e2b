// A machine of a test's own: every place that tells of applications, in one scratch folder.
#pragma once

#include "platform/linux/helpers/system_profiler/NotRead.h"
#include "platform/linux/helpers/system_profiler/Places.h"
#include "test_support/ScratchHome.h"

#include <map>
#include <string>

namespace system_profiler {

/// Nothing is there until the test writes it.
struct TestMachine {
    const std::filesystem::path &root() const { return folder.path(); }
    std::filesystem::path home() const { return root() / "home"; }
    std::filesystem::path userEntries() const { return home() / ".local/share/applications"; }
    std::filesystem::path systemEntries() const { return root() / "usr/share/applications"; }
    std::filesystem::path flatpak() const { return root() / "var/lib/flatpak"; }

    test_support::ScratchFolder folder;
    Places places{
        .desktopEntries = {userEntries(), systemEntries(), flatpak() / "exports/share/applications",
                           root() / "snapd/applications"},
        .appStream = {root() / "usr/share/metainfo"},
        .bundles = {home() / "Applications"},
        .nestedBundles = {root() / "opt"},
        .flatpaks = {home() / ".local/share/flatpak", flatpak()},
        .snaps = {root() / "snap"},
        .snapEntries = root() / "snapd/applications",
        .snapAssertions = root() / "snapd/assertions",
        .packages = root() / "dpkg",
        .home = home(),
    };
};

inline QByteArray entryText(const QByteArray &name, const QByteArray &exec, const QByteArray &more = {}) {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + "\n" + more;
}

inline QByteArray infoText(const QByteArray &name, const QByteArray &version,
                           const QByteArray &executable = "Program") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
           "<key>CFBundleName</key><string>" +
           name + "</string><key>CFBundleShortVersionString</key><string>" + version +
           "</string><key>CFBundleExecutable</key><string>" + executable + "</string></dict></plist>\n";
}

/// The header of a program for 64-bit x86-64.
inline QByteArray elfHeader() {
    QByteArray header(64, '\0');
    header.replace(0, 6,
                   QByteArray("\x7f"
                              "ELF\x02\x01",
                              6));
    header[18] = 62;
    return header;
}

/// Writes a program that may be started.
inline void writeProgram(const std::filesystem::path &path, const QByteArray &content = elfHeader()) {
    test_support::writeFile(path, content);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/// What was noted, by path below `root`.
inline std::map<std::string, std::string> reasonsBelow(const std::filesystem::path &root,
                                                       const NotRead &notRead) {
    std::map<std::string, std::string> result;
    for (const auto &[path, reason] : notRead.reasons())
        result[std::filesystem::path(path).lexically_relative(root).native()] = reason.toStdString();
    return result;
}

} // namespace system_profiler
