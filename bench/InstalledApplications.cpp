// The installed-applications report of a large machine: 5,000 desktop entries, each with a program, and a
// database of 3,000 packages; the time of the whole program and its peak memory.
#include "Figures.h"
#include "MeasuredProcess.h"
#include "test_support/ScratchHome.h"

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

constexpr int entryCount = 5'000;
constexpr int packageCount = 3'000;
constexpr int filesOfPackage = 150;
constexpr double barSeconds = 2.0;

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
    std::string header(64, '\0');
    std::ifstream("/proc/self/exe").read(header.data(), static_cast<std::streamsize>(header.size()));
    for (int i = 0; i < entryCount; ++i) {
        const fs::path program = root / "bin" / ("program" + std::to_string(i));
        std::ofstream(program) << header;
        fs::permissions(program, fs::perms::owner_all);
        std::ofstream(root / "share/applications" / ("entry" + std::to_string(i) + ".desktop"))
            << entryText(i, program);
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

} // namespace

int main() {
    const test_support::ScratchFolder scratch;
    makeEntries(scratch.path());
    makePackages(scratch.path());
    const fs::path output = scratch.path() / "report.txt";
    double peakBytes = 0;
    const auto report = [&] {
        const Measurement run =
            runMeasured({"/bin/sh", "-c",
                         "exec '" SYSTEM_PROFILER "' -detailLevel full SPApplicationsDataType > \"$OUTPUT\""},
                        // The last one leads dpkg-query to the database.
                        {{"HOME", scratch.path() / "home"},
                         {"XDG_DATA_DIRS", scratch.path() / "share"},
                         {"OUTPUT", output},
                         {"DPKG_ADMINDIR", scratch.path() / "dpkg"}});
        require(run.exitStatus == 0, "the report failed");
        peakBytes = std::max(peakBytes, static_cast<double>(run.peakBytes));
        return run.wall.count();
    };
    const double seconds = median(inTurn(11, {report})[0]);
    const QByteArray text = test_support::readFile(output);
    require(text.count("Not read:") == 0, "the report lacks files");
    require(text.count("      Location: ") >= entryCount, "the report lacks entries");
    require(text.count("Obtained from: Package package") >= packageCount, "the report lacks packages");
    print("installed applications, 5000 entries and 3000 packages", seconds, "s", barSeconds);
    print("its peak memory", peakBytes / mebibyte, "MiB");
    require(seconds < barSeconds, "the report takes too long");
}
