// Every system call of a silent run on its workspace, on what it collects, and on its sockets fails once.
// Each time the run ends as it should, nothing outside its folder changes, and nothing is lost.
//
// By default a spread sample of all points; with LUMAMON_ALL_FAULTS set, all of them, which takes minutes.
#include "tests/FaultInjector.h"
#include "tests/SilentRun.h"

#include "test_support/PropertyLists.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

constexpr std::size_t parts = 4;

// Sanitizers make a run ten times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t sample = 24;
#else
constexpr std::size_t sample = 240;
#endif

class Faults : public SilentRun, public testing::WithParamInterface<std::size_t> {
protected:
    Faults()
        : m_preferences(install({.logBytes = 6'000, .logFiles = 3}).preferences) {
        fs::create_directories(home.caches());
    }

    // The same start for each run: archives of earlier runs, one that could not be sent and one that was just
    // packed, and the record of a run that was killed with the product's logging switched on.
    void prepare() {
        fs::remove_all(root());
        fs::remove_all(home.caches() / "Logs");
        for (const auto &[name, content] : m_earlier)
            writeFile(root() / name, content);
        writeFile(m_preferences, m_switchedOn);
        writeFile(m_record,
                  xmlList("<dict><key>PreferenceFile</key><string>com.brennic.LumadocPE.plist</string>"
                          "<key>Track</key><string>QZ</string><key>MadeKeys</key><true/></dict>"));
        m_outside = around();
        m_receipts = service.receipts().size();
    }

    faults::Run run(const std::optional<faults::Point> &point) {
        prepare();
        // Without an archive the program stays, and it is over when its log says so.
        const auto stays = [this] { return texts().contains(": unable to copy compressed file.\n"); };
        auto options = program();
        // Leaks are looked for by tracing, and the program is traced already.
        options.variables.emplace_back("ASAN_OPTIONS", "detect_leaks=0");
        return faults::run(options, {home.library(), home.caches()}, point, std::chrono::seconds(120), stays);
    }

    // What a run has done that it must not do; empty when all is well.
    std::string problemsOf(const faults::Run &run) const {
        std::string problems;
        const auto expect = [&](bool holds, const std::string &otherwise) {
            problems += holds ? "" : otherwise + "; ";
        };
        expect(!run.isOverdue, "it hangs");
        expect(!run.end || isDocumented(run), "it ends with " + std::to_string(run.end.value_or(0)) + ", \"" +
                                                  run.standardOutput + "\" and \"" + run.standardError +
                                                  "\"");
        expect(around() == m_outside, "something outside its folder is changed");
        const QByteArray preferences = readFile(m_preferences);
        expect(preferences == m_switchedOn || !preferences.contains("EnableLumaLogging"),
               "the preferences are damaged");
        expect(preferences != m_switchedOn || fs::exists(m_record), "the logging switch stays on");
        for (const auto &[name, content] : m_earlier)
            expect(isKept(fs::path(name).filename(), content), name + " is lost");
        const auto packed = archivedNames();
        expect(packed || hasFiles(), "what was collected is lost");
        const bool isSaid = texts().contains("ERROR: ") || !run.standardOutput.empty();
        expect(!packed || *packed == m_wholeArchive || isSaid, "something is missing, and nothing says so");
        return problems;
    }

    // The names in the run's archive, as the service received it or where it still is.
    std::optional<std::set<std::string>> archivedNames() const {
        std::vector<fs::path> archives;
        const auto receipts = service.receipts();
        for (std::size_t i = m_receipts; i < receipts.size(); ++i)
            archives.push_back(receipts[i].archive);
        for (const std::string &name : namesIn("")) {
            if (fs::path(name).extension() == ".zip" && !name.ends_with("unsent_cef.zip") &&
                !name.ends_with("packed_cef.zip"))
                archives.push_back(root() / name);
        }
        for (const fs::path &archive : archives) {
            try {
                std::set<std::string> names;
                for (const auto &[name, item] : readArchive(archive))
                    names.insert(name);
                return names;
            } catch (const std::runtime_error &) {
                // Not whole.
            }
        }
        return std::nullopt;
    }

    std::set<std::string> m_wholeArchive;

private:
    // Status 0 and not a word, or status 1 and one line that says why.
    static bool isDocumented(const faults::Run &run) {
        const std::string &errors = run.standardError;
        // What a library says of a call that nobody sees fail.
        const bool isLibrarys = errors.find("GLib-WARNING **: ") != std::string::npos;
        return (run.end == exited(0) && (errors.empty() || isLibrarys)) ||
               (run.end == exited(1) && errors.starts_with("Brennic_Lumadoc_Diagnostics: ") &&
                errors.find('\n') == errors.size() - 1);
    }

    // Without the folder of the log's first place, and of the preferences all but what put back the switch.
    FileTree around() const {
        FileTree tree = outside();
        const std::string preferences = m_preferences.parent_path().lexically_relative(home.path());
        std::erase_if(tree, [](const auto &entry) { return entry.first.starts_with(".cache"); });
        for (const std::string &changed :
             {preferences, preferences + '/' + m_preferences.filename().native()})
            tree.at(changed) = {};
        return tree;
    }

    // The log, wherever it is.
    QByteArray texts() const { return readFile(logFile()) + readFile(firstLogFile()); }

    bool isKept(const fs::path &name, const QByteArray &content) const {
        return std::ranges::any_of(namesIn(""), [&](const fs::path &place) {
            return place.filename() == name && readFile(root() / place) == content;
        });
    }

    // What was collected is there as files, or nothing was.
    bool hasFiles() const {
        return !texts().contains(": Total files removed") ||
               std::ranges::any_of(namesIn("Output"), [](const std::string &name) {
                   return name.find("/Lumadoc/") != std::string::npos;
               });
    }

    const std::map<std::string, QByteArray> m_earlier = {
        {"Output/20200102030405/lumaMacLog_unsent_cef.zip", "could not be sent"},
        {"temp/lumaMacLog_packed_cef.zip", "of a run that was killed"}};
    const QByteArray m_switchedOn =
        xmlList("<dict><key>QZ</key><dict><key>LumaLogging</key><dict><key>EnableLumaLogging</key>"
                "<array><integer>10</integer><integer>7</integer></array></dict></dict></dict>");
    const fs::path m_preferences;
    const fs::path m_record = root() / "System/LoggingSwitch.plist";
    FileTree m_outside;
    std::size_t m_receipts = 0;
};

} // namespace

TEST_P(Faults, OfOneCallLoseNothing) {
    const faults::Run good = run({});
    ASSERT_EQ(good.end, exited(0)) << good.standardError;
    m_wholeArchive = archivedNames().value_or(std::set<std::string>());
    ASSERT_EQ(m_wholeArchive.size(), 13U);
    ASSERT_EQ(problemsOf(good), "");
    const auto points = faults::pointsOf(good);
    const bool wantsAll = std::getenv("LUMAMON_ALL_FAULTS") != nullptr;
    const std::size_t step = wantsAll ? 1 : std::max<std::size_t>(1, points.size() / sample);
    std::size_t tried = 0;
    std::size_t absent = 0;
    for (std::size_t i = GetParam() * step; i < points.size(); i += parts * step) {
        faults::Point point = points[i];
        faults::Run result = run(point);
        // Slow machines poll more often and write the log in more pieces. Where this run made fewer calls of
        // a kind than the good one, an earlier one takes the place in the sample.
        while (!result.isInjected && !wantsAll && point.ordinal > 0) {
            point.ordinal /= 2;
            result = run(point);
        }
        ++(result.isInjected ? tried : absent);
        if (const std::string problems = problemsOf(result); !problems.empty())
            ADD_FAILURE() << point.text() << ' ' << result.object << ": " << problems << '\n' << log();
    }
    EXPECT_GT(tried, absent * 10);
    std::cout << "Faults: " << tried << " points tried, " << absent << " did not come, of " << points.size()
              << " in all\n";
}

INSTANTIATE_TEST_SUITE_P(Part, Faults, testing::Range(std::size_t{0}, parts));
