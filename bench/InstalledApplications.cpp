// The installed-applications report of a large machine: 5,000 desktop entries, each with a program, and a
// database of 3,000 packages; the time of the whole program and its peak memory.
#include "Figures.h"
#include "MeasuredProcess.h"
#include "test_support/ScratchHome.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr int entryCount = 5'000;
constexpr int packageCount = 3'000;
constexpr int filesOfPackage = 150;
constexpr int rounds = 11;
constexpr double barSeconds = 2.0;

void write(const fs::path &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

// As long as the entries of large applications, most of it translations.
std::string entryText(int number, const fs::path &program) {
    std::string text = "[Desktop Entry]\nType=Application\nVersion=1.0\nName=Application " +
                       std::to_string(number) + "\nExec=" + program.native() +
                       " %U\nTryExec=" + program.native() + "\n";
    for (int language = 0; language < 60; ++language)
        text +=
            "Comment[l" + std::to_string(language) + "]=What the application is for, in one more language\n";
    return text;
}

void makeEntries(const fs::path &root) {
    fs::create_directories(root / "share/applications");
    fs::create_directories(root / "bin");
    // Programs without their content: the report reads the first bytes only.
    const std::string header = [] {
        std::ifstream self("/proc/self/exe", std::ios::binary);
        std::string bytes(64, '\0');
        self.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return bytes;
    }();
    for (int i = 0; i < entryCount; ++i) {
        const fs::path program = root / "bin" / ("program" + std::to_string(i));
        write(program, header);
        fs::permissions(program, fs::perms::owner_all);
        write(root / "share/applications" / ("entry" + std::to_string(i) + ".desktop"),
              entryText(i, program));
    }
}

// Each package but the last ones owns an entry and its program besides other files.
void makePackages(const fs::path &root) {
    fs::create_directories(root / "dpkg/info");
    std::ofstream status(root / "dpkg/status");
    for (int i = 0; i < packageCount; ++i) {
        const std::string name = "package" + std::to_string(i);
        status << "Package: " << name
               << "\nStatus: install ok installed\nMaintainer: Maintainers <m@x.example>\n"
               << "Architecture: amd64\nVersion: 1." << i << "-1\nDescription: what it is for\n"
               << ' ' << std::string(1000, 'x') << "\n\n";
        std::ofstream list(root / "dpkg/info" / (name + ".list"));
        for (int file = 0; file < filesOfPackage; ++file)
            list << "/usr/share/doc/" << name << "/a/folder/of/some/depth/file" << file << '\n';
        list << (root / "share/applications/entry").native() << i << ".desktop\n";
    }
}

std::size_t countIn(const fs::path &file, const std::string &text) {
    std::ifstream stream(file);
    const std::string content((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    std::size_t count = 0;
    for (std::size_t place = 0; (place = content.find(text, place)) != std::string::npos;
         place += text.size())
        ++count;
    return count;
}

} // namespace

int main() {
    const test_support::ScratchFolder scratch;
    makeEntries(scratch.path());
    makePackages(scratch.path());
    const fs::path output = scratch.path() / "report.txt";
    const std::vector<std::string> command = {"/bin/sh", "-c",
                                              std::string("exec '") + SYSTEM_PROFILER +
                                                  "' -detailLevel full SPApplicationsDataType > \"$OUTPUT\""};
    // The last one leads dpkg-query to the database.
    const std::vector<std::pair<std::string, std::string>> variables = {
        {"HOME", scratch.path() / "home"},
        {"XDG_DATA_DIRS", scratch.path() / "share"},
        {"OUTPUT", output},
        {"DPKG_ADMINDIR", scratch.path() / "dpkg"}};
    std::vector<double> seconds;
    std::uint64_t peakBytes = 0;
    for (int round = 0; round < rounds; ++round) {
        const Measurement run = runMeasured(command, variables);
        require(run.exitStatus == 0, "the report failed");
        seconds.push_back(run.wall.count());
        peakBytes = std::max(peakBytes, run.peakBytes);
    }
    require(countIn(output, "Not read:") == 0, "the report lacks files");
    require(countIn(output, "      Location: ") >= entryCount, "the report lacks entries");
    require(countIn(output, "Obtained from: Package package") >= packageCount, "the report lacks packages");
    std::sort(seconds.begin(), seconds.end());
    std::printf("installed applications, %d entries and %d packages: %.3f s, at most %.3f s of %d rounds "
                "(bar %.0f s); peak memory %.1f MiB\n",
                entryCount, packageCount, seconds[rounds / 2], seconds.back(), rounds, barSeconds,
                static_cast<double>(peakBytes) / mebibyte);
    require(seconds[rounds / 2] < barSeconds, "the report takes too long");
}
