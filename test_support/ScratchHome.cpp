#include "test_support/ScratchHome.h"

#include <fstream>
#include <sstream>

namespace test_support {

namespace fs = std::filesystem;

void writeFile(const fs::path &path, const QByteArray &content) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.write(content.constData(), content.size());
    if (!file.flush())
        std::abort();
}

QByteArray readFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return QByteArray::fromStdString(content.str());
}

} // namespace test_support
