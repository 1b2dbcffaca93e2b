// Applications as they are found on a machine: desktop entries, bundles, programs, packages.
#pragma once

#include "test_support/ScratchHome.h"

#include <fstream>
#include <string>

namespace test_support {

inline QByteArray entryText(const QByteArray &name, const QByteArray &exec, const QByteArray &more = {}) {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + "\n" + more;
}

/// An Info.plist with these keys and texts.
inline QByteArray infoText(const std::vector<std::pair<QByteArray, QByteArray>> &texts) {
    QByteArray result = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>";
    for (const auto &[key, text] : texts)
        result += "<key>" + key + "</key><string>" + text + "</string>";
    return result + "</dict></plist>\n";
}

/// The header of a program for x86-64, or for a machine of this class (1: 32 bits, 2: 64 bits), byte order
/// (1: little, 2: big) and number.
inline QByteArray elfHeader(char wordClass = 2, char order = 1, int machine = 62) {
    QByteArray header(64, '\0');
    header.replace(0, 6,
                   QByteArray("\x7f"
                              "ELF") +
                       wordClass + order);
    header[order == 1 ? 18 : 19] = static_cast<char>(machine & 0xff);
    header[order == 1 ? 19 : 18] = static_cast<char>(machine >> 8);
    return header;
}

/// Writes a program that may be started.
inline void writeProgram(const std::filesystem::path &path, const QByteArray &content = elfHeader()) {
    writeFile(path, content);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/// A database that dpkg-query reads in place of the system's.
class PackageDatabase {
public:
    explicit PackageDatabase(const std::filesystem::path &folder)
        : m_folder(folder)
        , m_variable("DPKG_ADMINDIR", folder.native()) {
        writeFile(folder / "info/format", "1\n");
    }

    /// Adds an installed package that owns the file.
    void add(const std::string &name, const std::string &version, const std::string &maintainer,
             const std::string &file, const std::string &architecture = "all") const {
        const bool isForAll = architecture == "all";
        std::ofstream(m_folder / "status", std::ios::app)
            << "Package: " << name << "\nStatus: install ok installed\nMaintainer: " << maintainer
            << "\nArchitecture: " << architecture << "\nMulti-Arch: " << (isForAll ? "no" : "same")
            << "\nVersion: " << version << "\nDescription: d\n\n";
        writeFile(m_folder / "info" / (name + (isForAll ? "" : ":" + architecture) + ".list"),
                  QByteArray::fromStdString("/.\n" + file + "\n"));
    }

private:
    std::filesystem::path m_folder;
    ScopedEnvironment m_variable;
};

} // namespace test_support
