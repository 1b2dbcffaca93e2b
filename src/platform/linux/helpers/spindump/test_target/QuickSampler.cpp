// The process sampler with its limits on the command line, so that tests need not take ten seconds:
// `spindump_quick MILLISECONDS STOP_MILLISECONDS FRAMES READING_SECONDS STALL_SECONDS PID -file PATH`
#include "platform/linux/helpers/spindump/Spindump.h"

#include <cstdlib>

int main(int argumentCount, char **arguments) {
    constexpr int ownWords = 6;
    if (argumentCount < ownWords)
        return EXIT_FAILURE;
    spindump::Limits limits;
    limits.duration = std::chrono::milliseconds(std::atoi(arguments[1]));
    limits.stop = std::chrono::milliseconds(std::atoi(arguments[2]));
    limits.frames = static_cast<std::size_t>(std::atoi(arguments[3]));
    limits.reading = std::chrono::seconds(std::atoi(arguments[4]));
    limits.stall = std::chrono::seconds(std::atoi(arguments[5]));
    return spindump::run({arguments + ownWords, arguments + argumentCount}, limits);
}
