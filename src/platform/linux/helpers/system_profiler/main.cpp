#include "platform/linux/helpers/system_profiler/SystemProfiler.h"

int main(int argumentCount, char **arguments) {
    return system_profiler::run(argumentCount, arguments);
}
