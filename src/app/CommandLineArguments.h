// The command line: silent mode, and optionally the component, track and product that it names.
//
// Main thread. `parse` runs once, after the log has moved into the workspace: what is logged there belongs to
// the collected log.
#pragma once

#include "discovery/RunState.h"

#include <QStringList>

namespace CommandLineArguments {

/// Whether the argument asks for silent mode. What kind of application the process becomes is decided before
/// there is a log. Any time.
bool asksForSilence(const QString &argument);

/// Reads the whole argument list, the executable path included, into the values of RunState.h. Case and
/// surrounding white space do not count, stored values are lower case, the last of several wins, an empty
/// value is a value, and anything unknown is passed over.
void parse(const QStringList &arguments);

} // namespace CommandLineArguments
