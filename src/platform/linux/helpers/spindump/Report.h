// The report as a support engineer reads it: what was sampled and how, the threads, the libraries.
#pragma once

#include "Sampler.h"

#include <ctime>

namespace spindump {

/// `date` is when sampling began.
QByteArray reportText(const Target &target, const SamplingResult &sampling, std::time_t date);

/// The command line as it was typed, as far as that can be known: words that hold blanks or nothing are
/// quoted.
QByteArray commandLineText(const QByteArray &zeroSeparated);

} // namespace spindump
