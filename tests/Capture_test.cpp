// A capture that is asked to end, or killed, at any moment: what it leaves switched on in the product, and
// what the next start of the program does about it.
#include "tests/SilentRun.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::Preferences;
using std::chrono::seconds;

namespace {

class Capture : public SilentRun {
protected:
    Capture()
        : capturing(bundle.path(), place.path()) {
        fs::copy_file(LUMAMON_CAPTURING_PROGRAM, capturing.executable(),
                      fs::copy_options::overwrite_existing);
        makeHelper("spindump", "exit 0");
        makeHelper("system_profiler", "touch \"$0.runs\"; exec sleep 1000");
    }

    fs::path helper(const char *name) const { return capturing.path() / "Contents/Helpers" / name; }
    void makeHelper(const char *name, const QByteArray &script) const {
        // Replaced, since it may be a link.
        fs::remove(helper(name));
        writeFile(helper(name), "#!/bin/sh\n" + script);
        fs::permissions(helper(name), fs::perms::owner_all);
    }

    void installWith(Preferences preferences) {
        auto options = smallProduct();
        options.preferences = preferences;
        product = install(options);
    }
    std::unique_ptr<ProgramRun> startCapture() const {
        auto options = program({});
        options.program = capturing.executable();
        return std::make_unique<ProgramRun>(options);
    }
    // A capture that waits for its second script.
    std::unique_ptr<ProgramRun> startAndHold() const {
        fs::remove(helper("system_profiler.runs"));
        auto running = startCapture();
        EXPECT_TRUE(waitUntil([this] { return fs::exists(helper("system_profiler.runs")); })) << log();
        EXPECT_TRUE(isOn());
        return running;
    }
    void expectPromptEnd(ProgramRun &running, int signal) const {
        running.send(signal);
        EXPECT_EQ(running.waitForEnd(seconds(2)), exited(0));
        EXPECT_FALSE(isOn());
        EXPECT_FALSE(fs::exists(record()));
        EXPECT_EQ(running.standardOutput() + running.standardError(), "");
    }

    fs::path record() const { return root() / "System/LoggingSwitch.plist"; }
    bool isOn() const {
        const QByteArray preferences = readFile(product.preferences);
        return preferences.contains("EnableLumaLogging") || preferences.contains("SustainLumaLogging");
    }

    // The lines of the next silent run that an earlier run is the reason for.
    std::string repair() {
        // Another time zone gives each run another run folder, however soon it comes.
        run(programWith("TZ", "LATER-" + std::to_string(++runs)));
        return logBetween("INFO: LumadocDiagnostics Directory: ROOT\nINFO: Directory created: RUN\n",
                          "INFO: PROGRAM, /silent\n");
    }

    ScratchFolder place;
    ScratchBundle capturing;
    sample_product::SampleProduct product;
    int runs = 0;
};

} // namespace

TEST_F(Capture, ThatIsCompletedLeavesTheProductSwitchedOff) {
    installWith(Preferences::xml);
    makeHelper("system_profiler", "echo list");
    EXPECT_EQ(startCapture()->waitForEnd(), exited(7));
    EXPECT_FALSE(isOn());
    EXPECT_FALSE(fs::exists(record()));
    EXPECT_EQ(repair(), "");
}

TEST_F(Capture, ThatIsKilledIsRepairedByTheNextSilentRun) {
    for (const Preferences format : {Preferences::xml, Preferences::binary}) {
        installWith(format);
        {
            const auto running = startAndHold();
            running->send(SIGKILL);
            EXPECT_EQ(running->waitForEnd(), killedBy(SIGKILL));
        }
        EXPECT_TRUE(waitUntil([] { return processesOf("sleep").empty(); }));
        EXPECT_TRUE(isOn());
        EXPECT_TRUE(fs::exists(record()));
        EXPECT_EQ(repair(), "INFO: Interrupted run: EnableLumaLogging, SustainLumaLogging put back in ~/" +
                                product.preferences.lexically_relative(home.path()).native() + "\n");
        EXPECT_FALSE(isOn());
        EXPECT_EQ(readFile(product.preferences).startsWith("bplist00"), format == Preferences::binary);
        EXPECT_FALSE(fs::exists(record()));
        EXPECT_EQ(repair(), "");
    }
}

TEST_F(Capture, EndsWhenItIsAskedToDuringAScript) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        installWith(Preferences::xml);
        const auto running = startAndHold();
        expectPromptEnd(*running, signal);
        EXPECT_TRUE(processesOf("sleep").empty());
        EXPECT_EQ(repair(), "");
    }
}
