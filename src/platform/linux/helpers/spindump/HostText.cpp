#include "HostText.h"

#include "EscapedText.h"

#include <array>
#include <ctime>
#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace spindump {

namespace {

// The value of a line NAME=value or NAME="value".
std::string systemName() {
    const auto release = contentIn(AT_FDCWD, "/etc/os-release");
    if (!release.value)
        return release.failure;
    constexpr std::string_view key = "PRETTY_NAME=";
    const std::string text = '\n' + *release.value;
    const std::size_t found = text.find('\n' + std::string(key));
    if (found == std::string::npos)
        return "not stated";
    const std::size_t begin = found + 1 + key.size();
    std::string value = text.substr(begin, text.find('\n', begin) - begin);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
        value = value.substr(1, value.size() - 2);
    return escaped(value, 256);
}

} // namespace

std::string hostText() {
    struct utsname kernel {};
    ::uname(&kernel);
    return "Host system:      " + systemName() + "\nKernel:           " + kernel.sysname + ' ' +
           kernel.release + ' ' + kernel.machine +
           "\nProcessors:       " + std::to_string(::sysconf(_SC_NPROCESSORS_ONLN)) + '\n';
}

std::string dateText(std::chrono::system_clock::time_point date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    struct tm local {};
    ::localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &local);
    return text.data();
}

std::string startText(const ProcStat &stat, std::chrono::system_clock::time_point now) {
    using namespace std::chrono;
    struct timespec sinceBoot {};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const auto up = seconds(sinceBoot.tv_sec) + nanoseconds(sinceBoot.tv_nsec);
    const auto age = duration_cast<milliseconds>(up - ticks(stat.startTicks));
    return dateText(now - age) + ", " + std::to_string(duration_cast<seconds>(age).count()) + " s before";
}

} // namespace spindump
