// Application bundles made for a test.
#pragma once

#include "test_support/ScratchHome.h"

#include <QByteArray>
#include <filesystem>

namespace test_support {

/// An Info.plist with these two entries.
inline QByteArray infoPlist(const QByteArray &identifier, const QByteArray &executable) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n"
           "<key>CFBundleIdentifier</key><string>" +
           identifier + "</string>\n<key>CFBundleExecutable</key><string>" + executable +
           "</string>\n</dict></plist>\n";
}

/// A bundle whose main program waits as many seconds as its argument says. Gives the program's path.
inline std::filesystem::path makeBundle(const std::filesystem::path &path, const QByteArray &identifier,
                                        const QByteArray &executable = "Program") {
    writeFile(path / "Contents/Info.plist", infoPlist(identifier, executable));
    const auto program = path / "Contents/Linux" / executable.toStdString();
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::copy_file("/bin/sleep", program);
    return program;
}

} // namespace test_support
