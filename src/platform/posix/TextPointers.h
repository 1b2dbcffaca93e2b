// Texts as the system takes them to start a program.
#pragma once

#include <string>
#include <vector>

namespace platform {

/// Pointers to `texts`, in order, and a null pointer at the end. They hold as long as the texts are not
/// moved.
inline std::vector<char *> textPointers(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace platform
