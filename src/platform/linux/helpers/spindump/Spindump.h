// The whole run, from the command line to the report.
#pragma once

#include "Sampler.h"

#include <ctime>
#include <string>
#include <vector>

namespace spindump {

/// Does what the words after the program's name ask for, `PID -file PATH` and nothing else, with progress and
/// errors on standard error. Returns the exit status: 0 when the report is in its place, 2 for a wrong
/// command line, `platform::Script::missingRights` when the system lets only an administrator sample the
/// process, 1 for all else.
int run(const std::vector<std::string> &words, const Limits &limits);

/// The report as a support engineer reads it: what was sampled and how, the threads, the libraries. `date` is
/// when sampling began.
QByteArray reportText(const Target &target, const SamplingResult &sampling, std::time_t date);

/// The command line as it was typed, as far as that can be known: words that hold blanks or nothing are
/// quoted.
QByteArray commandLineText(const QByteArray &zeroSeparated);

} // namespace spindump
