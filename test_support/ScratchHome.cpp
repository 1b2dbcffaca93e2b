#include "test_support/ScratchHome.h"

#include <QDir>
#include <fstream>
#include <stdexcept>

namespace test_support {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder()
    : m_folder(QDir::tempPath() + QStringLiteral("/lumamon-test-XXXXXX")) {
    if (!m_folder.isValid())
        throw std::runtime_error("Cannot create a scratch folder");
    m_path = fs::canonical(m_folder.path().toStdString());
}

// Qt, whose own object comes after this, removes only what has a text for a name.
ScratchFolder::~ScratchFolder() {
    std::error_code error;
    fs::remove_all(m_path, error);
}

ScopedEnvironment::ScopedEnvironment(const char *name, const std::optional<std::string> &value)
    : m_name(name) {
    if (const char *before = std::getenv(name))
        m_before = before;
    apply(value);
}

void ScopedEnvironment::apply(const std::optional<std::string> &value) const {
    if (value)
        ::setenv(m_name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(m_name.c_str());
}

void forgetTheMachinesSettings() {
    ::setenv("LC_ALL", "C.UTF-8", 1);
    for (const char *name :
         {"LANGUAGE", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
        ::unsetenv(name);
}

void writeFile(const fs::path &path, const QByteArray &content) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    // Not by Qt: a name need not be text.
    std::ofstream file(path, std::ios::binary);
    if (!file.write(content.constData(), content.size()).flush())
        throw std::runtime_error("Cannot write " + path.native());
}

void writeProgram(const fs::path &path, const QByteArray &content) {
    writeFile(path, content);
    fs::permissions(path, fs::perms::owner_all);
}

QByteArray readFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return QByteArray::fromStdString({std::istreambuf_iterator(file), {}});
}

} // namespace test_support
