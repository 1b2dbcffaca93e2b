// The installed-applications report of a large machine: 5,000 desktop entries, each with a program, and a
// database of 3,000 packages; the time of the whole program and its peak memory.
#include "Figures.h"
#include "test_support/TestMachine.h"

using namespace test_support;

namespace {

constexpr int entryCount = 5'000;
constexpr int packageCount = 3'000;

// As long as the entries of large applications, most of it translations. Programs without their content: the
// report reads the first bytes only.
void makeEntries(const std::filesystem::path &folder) {
    for (int i = 0; i < entryCount; ++i) {
        const auto program = folder / "bin" / ("program" + std::to_string(i));
        writeProgram(program);
        QByteArray comments;
        for (int language = 0; language < 60; ++language)
            comments += "Comment[l" + QByteArray::number(language) +
                        "]=What the application is for, in one more language\n";
        writeFile(folder / "share/applications" / ("entry" + std::to_string(i) + ".desktop"),
                  entryText("Application " + QByteArray::number(i),
                            QByteArray::fromStdString(program) + " %U", comments));
    }
}

// Each owns an entry besides other files.
void makePackages(const PackageDatabase &database, const std::string &folder) {
    for (int i = 0; i < packageCount; ++i) {
        const std::string name = "package" + std::to_string(i);
        std::string files;
        for (int file = 0; file < 150; ++file)
            files += "/usr/share/doc/" + name + "/a/folder/of/some/depth/file" + std::to_string(file) + '\n';
        database.add(name, "1." + std::to_string(i) + "-1", "Maintainers <m@x.example>",
                     files + folder + "/share/applications/entry" + std::to_string(i) + ".desktop");
    }
}

} // namespace

int main() {
    const ScratchFolder scratch;
    const std::string folder = scratch.path();
    const PackageDatabase database(scratch.path() / "dpkg");
    makeEntries(scratch.path());
    makePackages(database, folder);
    const ProgramOptions program{.program = "/bin/sh",
                                 .arguments = {"-c",
                                               "exec '" SYSTEM_PROFILER
                                               "' -detailLevel full SPApplicationsDataType > \"$OUTPUT\""},
                                 .variables = {{"HOME", folder + "/home"},
                                               {"XDG_DATA_DIRS", folder + "/share"},
                                               {"OUTPUT", folder + "/report"}}};
    double peak = 0;
    const auto report = [&] { return secondsOf([&] { peak = std::max(peak, runProgram(program)); }); };
    const double seconds = median(inTurn(11, {report})[0]);
    const QByteArray text = readFile(scratch.path() / "report");
    require(text.count("Not read:") == 0, "the report lacks files");
    require(text.count("      Location: ") >= entryCount, "the report lacks entries");
    require(text.count("Obtained from: Package package") >= packageCount, "the report lacks packages");
    constexpr double barSeconds = 2.0;
    print("installed applications, 5000 entries and 3000 packages", seconds, "s", barSeconds);
    print("its peak memory", peak, "MiB");
    require(seconds < barSeconds, "the report takes too long");
}
