// A capture that is asked to end, or killed, in its midst: what it leaves switched on in the product, and
// what the next start of the program makes of it.
#include "tests/SilentRun.h"

#include "platform/posix/PropertyList.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace test_support;
using platform::PropertyList;
using sample_product::Preferences;
using sample_product::SampleProduct;

namespace {

class Capture : public SilentRun {
protected:
    Capture()
        : capturing(bundle.path(), place.path()) {
        fs::copy_file(LUMAMON_CAPTURING_PROGRAM, capturing.executable(),
                      fs::copy_options::overwrite_existing);
        fs::create_directories(helpers());
        makeHelper("spindump", "exit 0");
        makeHelper("system_profiler", "touch \"$0.runs\"; exec sleep 1000");
    }

    fs::path helpers() const { return capturing.path() / "Contents/Helpers"; }
    void makeHelper(const char *name, const QByteArray &script) const {
        fs::remove(helpers() / name);
        writeFile(helpers() / name, "#!/bin/sh\n" + script);
        fs::permissions(helpers() / name, fs::perms::owner_all);
    }

    void installWith(Preferences preferences, bool lumaLogging = false) {
        auto options = smallProduct();
        options.preferences = preferences;
        options.lumaLogging = lumaLogging;
        product = install(options);
        before = readFile(product.preferences);
    }
    std::unique_ptr<ProgramRun> startCapture() const {
        auto options = program({});
        options.program = capturing.executable();
        return std::make_unique<ProgramRun>(options);
    }
    // A capture that waits for its second script.
    std::unique_ptr<ProgramRun> startAndHold() const {
        auto running = startCapture();
        EXPECT_TRUE(waitUntil([this] { return fs::exists(helpers() / "system_profiler.runs"); })) << log();
        return running;
    }
    void killInMidCapture() const {
        const auto running = startAndHold();
        running->send(SIGKILL);
        EXPECT_EQ(running->waitForEnd(), killedBy(SIGKILL));
        EXPECT_TRUE(waitUntil([] { return processesOf("sleep").empty(); }));
        EXPECT_TRUE(fs::exists(record()));
    }

    fs::path record() const { return root() / "System/LoggingSwitch.plist"; }
    // The preferences as they are when the switch was taken back: an empty dictionary stays where there was
    // none.
    PropertyList putBack() const {
        auto root = *PropertyList::parse(before);
        const QByteArray name = QByteArray::fromStdString(product.track);
        auto track = *root.value(name);
        track.set("LumaLogging", PropertyList::dictionary());
        root.set(name, track);
        return root;
    }
    bool isOn() const { return readFile(product.preferences).contains("EnableLumaLogging"); }

    // The lines that the next run of silent mode has on top of any run's.
    std::string told() {
        // Another time zone gives each run another run folder, however soon it comes.
        auto options = program();
        options.variables.emplace_back("TZ", "LATER-" + std::to_string(++runs));
        EXPECT_EQ(run(options), exited(0));
        const std::string text = log();
        const std::string begin = "INFO: LumadocDiagnostics Directory: ROOT\nINFO: Directory created: RUN\n";
        const std::size_t at = text.find(begin);
        const std::size_t end = text.find("INFO: PROGRAM, /silent\n");
        if (at == std::string::npos || end == std::string::npos)
            return "no run:\n" + text;
        return text.substr(at + begin.size(), end - at - begin.size());
    }
    std::string told(const std::string &what) const {
        return "INFO: Interrupted run: " + what + " in ~/" +
               product.preferences.lexically_relative(home.path()).native() + "\n";
    }

    ScratchFolder place;
    ScratchBundle capturing;
    SampleProduct product;
    QByteArray before;
    int runs = 0;
};

} // namespace

TEST_F(Capture, ThatIsCompletedLeavesTheProductAsItWas) {
    installWith(Preferences::xml);
    makeHelper("system_profiler", "echo list");
    EXPECT_EQ(startCapture()->waitForEnd(), exited(7));
    EXPECT_EQ(PropertyList::load(product.preferences), putBack());
    EXPECT_FALSE(fs::exists(record()));
    EXPECT_EQ(told(), "");
}

TEST_F(Capture, ThatIsKilledIsMadeGoodByTheNextSilentRun) {
    for (const Preferences format : {Preferences::xml, Preferences::binary}) {
        fs::remove(helpers() / "system_profiler.runs");
        installWith(format);
        killInMidCapture();
        EXPECT_TRUE(isOn());
        EXPECT_EQ(told(), told("EnableLumaLogging, SustainLumaLogging put back"));
        EXPECT_EQ(PropertyList::load(product.preferences), putBack());
        EXPECT_EQ(PropertyList::format(readFile(product.preferences)), PropertyList::format(before));
        EXPECT_FALSE(fs::exists(record()));
        EXPECT_EQ(told(), "");
    }
}

TEST_F(Capture, ThatIsKilledLeavesAnExistingSwitchAlone) {
    installWith(Preferences::xml, true);
    killInMidCapture();
    EXPECT_EQ(told(), told("nothing to put back"));
    EXPECT_EQ(PropertyList::load(product.preferences), PropertyList::parse(before));
    EXPECT_FALSE(fs::exists(record()));
}

TEST_F(Capture, ThatIsKilledIsMadeGoodOnlyWhereTheProductHasChangedNothing) {
    installWith(Preferences::xml);
    killInMidCapture();
    const QByteArray changed =
        readFile(product.preferences).replace("<integer>10</integer>", "<integer>11</integer>");
    writeFile(product.preferences, changed);
    EXPECT_EQ(told(), told("SustainLumaLogging put back, EnableLumaLogging changed since and left"));
    EXPECT_TRUE(readFile(product.preferences).contains("<integer>11</integer>"));
    EXPECT_FALSE(readFile(product.preferences).contains("SustainLumaLogging"));
}

TEST_F(Capture, ThatIsKilledIsMadeGoodOnceThePreferencesCanBeWritten) {
    REQUIRE_OWN_NAMESPACES();
    installWith(Preferences::binary);
    killInMidCapture();
    const QByteArray on = readFile(product.preferences);
    {
        const auto readOnly = Mount::readOnly(product.preferences.parent_path());
        EXPECT_EQ(told(), "ERROR: Interrupted run: the logging switch cannot be put back in ~/" +
                              product.preferences.lexically_relative(home.path()).native() + "\n");
    }
    EXPECT_EQ(readFile(product.preferences), on);
    EXPECT_EQ(told(), told("EnableLumaLogging, SustainLumaLogging put back"));
    EXPECT_FALSE(isOn());
}

TEST_F(Capture, ThatIsKilledMayBeFollowedByAnother) {
    installWith(Preferences::xml);
    killInMidCapture();
    // The logging is on already, so that this one switches nothing; it knows nothing of the record either.
    fs::remove(helpers() / "system_profiler.runs");
    killInMidCapture();
    EXPECT_EQ(told(), told("EnableLumaLogging, SustainLumaLogging put back"));
    EXPECT_EQ(PropertyList::load(product.preferences), putBack());
}

TEST_F(Capture, RecordsOfOthersChangeNothing) {
    installWith(Preferences::xml);
    killInMidCapture();
    const QByteArray on = readFile(product.preferences);
    const QByteArray good = readFile(record());
    const std::string removed = "WARNING: Interrupted run: its record cannot be used and is removed.\n";
    for (const QByteArray &content :
         {good.chopped(10), QByteArray("junk"), good + QByteArray(2 << 20, '\0')}) {
        writeFile(record(), content);
        EXPECT_EQ(told(), removed);
        EXPECT_FALSE(fs::exists(fs::symlink_status(record())));
    }
    writeFile(home.path() / "good", good);
    fs::create_symlink(home.path() / "good", record());
    EXPECT_EQ(told(), removed);
    EXPECT_EQ(readFile(home.path() / "good"), good);
    EXPECT_EQ(readFile(product.preferences), on);
}

class CaptureEnds : public Capture, public testing::WithParamInterface<int> {};

TEST_P(CaptureEnds, WhenItIsAskedToInMidScript) {
    installWith(Preferences::xml);
    const auto running = startAndHold();
    EXPECT_TRUE(isOn());
    const auto asked = std::chrono::steady_clock::now();
    running->send(GetParam());
    EXPECT_EQ(running->waitForEnd(), exited(0));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(2));
    EXPECT_EQ(PropertyList::load(product.preferences), putBack());
    EXPECT_FALSE(fs::exists(record()));
    EXPECT_TRUE(processesOf("sleep").empty());
    EXPECT_EQ(running->standardOutput() + running->standardError(), "");
    EXPECT_FALSE(fs::exists(runFolder() / "Lumadoc/DetailedInfo.json"));
    EXPECT_EQ(told(), "");
}

INSTANTIATE_TEST_SUITE_P(Each, CaptureEnds, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(Capture, EndsWhenItIsAskedToWhileAScriptStandsStill) {
    installWith(Preferences::xml);
    const auto running = startAndHold();
    ASSERT_TRUE(waitUntil([] { return processesOf("sleep").size() == 1; }));
    ::kill(processesOf("sleep").front(), SIGSTOP);
    const auto asked = std::chrono::steady_clock::now();
    running->send(SIGTERM);
    EXPECT_EQ(running->waitForEnd(), exited(0));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(2));
    EXPECT_FALSE(isOn());
}

TEST_F(Capture, EndsWhenItIsAskedToInMidCopy) {
    installWith(Preferences::xml);
    makeHelper("system_profiler", "exit 0");
    // Links are quickly made and take as long as files to be copied.
    const fs::path many = product.logs / "many";
    fs::create_directories(many);
    for (int i = 0; i < 40'000; ++i)
        fs::create_symlink("x", many / std::to_string(i));
    const auto running = startCapture();
    const auto copies = [this] {
        const fs::path folder = runFolder();
        return folder.empty() ? fs::path("none") : folder / "Lumadoc/LumaLog/many";
    };
    ASSERT_TRUE(waitUntil([&] { return fs::exists(copies()); }));
    const auto asked = std::chrono::steady_clock::now();
    running->send(SIGTERM);
    EXPECT_EQ(running->waitForEnd(), exited(0));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(2));
    EXPECT_LT(std::distance(fs::directory_iterator(copies()), fs::directory_iterator()), 40'000);
    EXPECT_EQ(PropertyList::load(product.preferences), putBack());
    EXPECT_FALSE(fs::exists(record()));
}
