// A thread's call tree as the report shows it: by function, heaviest call first.
#pragma once

#include "CallTree.h"
#include "Symbols.h"

namespace spindump {

/// One line for each call with its samples, indented below its caller, `lineLimit` lines at most; and a note
/// for everything that the tree lacks.
std::string treeText(const CallTree &tree, Symbols &symbols, std::size_t lineLimit);

} // namespace spindump
