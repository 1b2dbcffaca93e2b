#include "test_support/ScratchFolder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace test_support {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "lumamon-test-XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("Cannot create a scratch folder");
    m_path = fs::canonical(name);
}

ScratchFolder::~ScratchFolder() {
    std::error_code error;
    fs::remove_all(m_path, error);
}

void writeFile(const fs::path &path, const QByteArray &content) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    std::ofstream file(path, std::ios::binary);
    file.write(content.constData(), content.size());
    if (!file.flush())
        throw std::runtime_error("Cannot write " + path.native());
}

QByteArray readFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return QByteArray::fromStdString(content.str());
}

} // namespace test_support
