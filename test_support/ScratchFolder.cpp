#include "test_support/ScratchFolder.h"

#include <cstdlib>
#include <string>

namespace test_support {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "lumamon-test-XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr)
        std::abort();
    m_path = fs::canonical(name);
}

ScratchFolder::~ScratchFolder() {
    std::error_code error;
    fs::remove_all(m_path, error);
}

} // namespace test_support
