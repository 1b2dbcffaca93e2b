#include "test_support/StandInProgram.h"

#include <QList>
#include <algorithm>

namespace test_support {

namespace fs = std::filesystem;

// A folder in which there is no such program takes none by a mount: all of /usr/bin is replaced, by links to
// what is there.
StandInProgram::StandInProgram(const std::string &name, const QByteArray &script) {
    const fs::path real = m_folder.path() / "real";
    const fs::path shown = m_folder.path() / "shown";
    const fs::path calls = m_folder.path() / "calls";
    for (const fs::path &folder : {real, shown, calls})
        fs::create_directories(folder);
    m_real.reset(new Mount(Mount::over("/usr/bin", real)));
    for (const auto &entry : fs::directory_iterator(real)) {
        if (entry.path().filename() != name)
            fs::create_symlink(entry.path(), shown / entry.path().filename());
    }
    const std::string note = calls.native() + "/$$";
    writeFile(shown / name, "#!/bin/sh\nprintf '%s\\0' \"$0\" \"$@\" > " + QByteArray::fromStdString(note) +
                                ".part\nmv " + QByteArray::fromStdString(note) + ".part " +
                                QByteArray::fromStdString(note) + ".call\n" + script);
    fs::permissions(shown / name, fs::perms::owner_all);
    m_mount.reset(new Mount(Mount::over(shown, "/usr/bin")));
}

std::vector<std::vector<std::string>> StandInProgram::calls() const {
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(m_folder.path() / "calls")) {
        if (entry.path().extension() == ".call")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    std::vector<std::vector<std::string>> result;
    for (const fs::path &file : files) {
        std::vector<std::string> words;
        for (const QByteArray &word : readFile(file).chopped(1).split('\0'))
            words.push_back(word.toStdString());
        result.push_back(words);
    }
    return result;
}

} // namespace test_support
