// Applications as they are found on a machine: desktop entries, bundles, programs, packages.
#pragma once

#include "test_support/ScratchHome.h"

#include <fstream>
#include <map>
#include <string>

namespace test_support {

inline QByteArray entryText(const QByteArray &name, const QByteArray &exec, const QByteArray &more = {}) {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + "\n" + more;
}

/// An Info.plist with these keys and texts.
inline QByteArray infoText(const std::map<QByteArray, QByteArray> &texts) {
    QByteArray result = "<plist version=\"1.0\"><dict>";
    for (const auto &[key, text] : texts)
        result += "<key>" + key + "</key><string>" + text + "</string>";
    return result + "</dict></plist>\n";
}

inline QByteArray infoPlist(const QByteArray &identifier, const QByteArray &executable) {
    return infoText({{"CFBundleIdentifier", identifier}, {"CFBundleExecutable", executable}});
}

/// A bundle whose main program waits as many seconds as its argument says. Gives the program's path.
inline std::filesystem::path makeBundle(const std::filesystem::path &path, const QByteArray &identifier,
                                        const QByteArray &executable = "Program") {
    writeFile(path / "Contents/Info.plist", infoPlist(identifier, executable));
    auto program = path / "Contents/Linux" / executable.toStdString();
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::copy_file("/bin/sleep", program);
    return program;
}

/// The header of a program of this class (1: 32 bits, 2: 64 bits), byte order (1: little, 2: big) and
/// machine.
inline QByteArray elfHeader(char wordClass = 2, char order = 1, int machine = 62) {
    QByteArray header = "\x7f" + QByteArray("ELF") + wordClass + order;
    header.append(64 - header.size(), '\0');
    header[order == 1 ? 18 : 19] = static_cast<char>(machine & 0xff);
    header[order == 1 ? 19 : 18] = static_cast<char>(machine >> 8);
    return header;
}

inline void writeProgram(const std::filesystem::path &path) {
    writeProgram(path, elfHeader());
}

/// A database of packages that dpkg-query reads in place of the system's.
class PackageDatabase {
public:
    explicit PackageDatabase(const std::filesystem::path &folder)
        : m_folder(folder)
        , m_variable("DPKG_ADMINDIR", folder.native()) {
        writeFile(folder / "info/format", "1\n");
    }

    /// Adds an installed package that owns these files, one a line.
    void add(const std::string &name, const std::string &version, const std::string &maintainer,
             const std::string &files, const std::string &architecture = "amd64") const {
        std::ofstream(m_folder / "status", std::ios::app)
            << "Package: " << name << "\nStatus: install ok installed\nMaintainer: " << maintainer
            << "\nArchitecture: " << architecture << "\nMulti-Arch: same\nVersion: " << version
            << "\nDescription: d\n\n";
        writeFile(m_folder / "info" / (name + ":" + architecture + ".list"),
                  QByteArray::fromStdString(files + "\n"));
    }

private:
    std::filesystem::path m_folder;
    ScopedEnvironment m_variable;
};

/// Texts that a test can print.
inline std::map<std::string, std::string> texts(const std::map<std::string, QString> &values) {
    std::map<std::string, std::string> result;
    for (const auto &[key, value] : values)
        result[key] = value.toStdString();
    return result;
}

} // namespace test_support
