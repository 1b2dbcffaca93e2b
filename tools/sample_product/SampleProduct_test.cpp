// What a sample product consists of.
#include "SampleProduct.h"

#include "RunningProduct.h"
#include "platform/posix/PropertyList.h"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <set>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace sample_product::test {

namespace {

using platform::PropertyList;

std::string contentOf(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Every regular file below a folder, by its path in it, with its content.
std::map<std::string, std::string> filesBelow(const fs::path &folder) {
    std::map<std::string, std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), folder)] = contentOf(entry.path());
    }
    return files;
}

std::uintmax_t sizeBelow(const fs::path &folder) {
    std::uintmax_t size = 0;
    for (const auto &[name, content] : filesBelow(folder))
        size += content.size();
    return size;
}

PropertyList readPropertyList(const fs::path &file) {
    return PropertyList::load(file).value_or(PropertyList::dictionary());
}

std::string text(const PropertyList &root, const char *key) {
    const PropertyList *value = root.value(key);
    return value == nullptr ? "" : value->text().value_or(QString()).toStdString();
}

class SampleProductTest : public testing::Test {
protected:
    SampleProductTest() {
        std::string name = (fs::temp_directory_path() / "sample-product-test-XXXXXX").string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        home = name;
    }
    ~SampleProductTest() override { fs::remove_all(home); }

    fs::path home;
};

} // namespace

TEST(TrackOfVersion, IsToldByTheFirstDigitOfTheLastPiece) {
    EXPECT_EQ(trackOfVersion("10.003.20112"), "QZ");
    EXPECT_EQ(trackOfVersion("24.1.10"), "Beta");
    EXPECT_EQ(trackOfVersion("24.002.0"), "Trunk");
    EXPECT_EQ(trackOfVersion("24.5.3"), "Trunk");
    EXPECT_EQ(trackOfVersion("17"), "Beta");
    EXPECT_EQ(trackOfVersion("24."), "Trunk");
    EXPECT_EQ(trackOfVersion(""), "Trunk");
}

TEST_F(SampleProductTest, IsABundleWithItsPrograms) {
    const SampleProduct product = makeSampleProduct(home);

    EXPECT_EQ(product.bundle, home / "Applications/Lumadoc.app");
    EXPECT_EQ(product.executable, home / "Applications/Lumadoc.app/Contents/Linux/Lumadoc");
    EXPECT_EQ(product.helper.parent_path(), home / "Applications/Lumadoc.app/Contents/Helpers");
    for (const auto &program : {product.executable, product.helper})
        EXPECT_NE(fs::status(program).permissions() & fs::perms::owner_exec, fs::perms::none) << program;

    const auto info = readPropertyList(product.bundle / "Contents/Info.plist");
    EXPECT_EQ(text(info, "CFBundleIdentifier"), "com.brennic.LumadocPE");
    EXPECT_EQ(text(info, "CFBundleShortVersionString"), "10.003.20112");
    EXPECT_EQ(text(info, "CFBundleExecutable"), "Lumadoc");
    EXPECT_EQ(text(info, "CFBundleName"), "Lumadoc");
}

TEST_F(SampleProductTest, IsPellixWhenAsked) {
    const SampleProduct product = makeSampleProduct(home, {.edition = Edition::pellix, .version = "24.1.10"});

    EXPECT_EQ(product.executable, home / "Applications/Pellix.app/Contents/Linux/Pellix");
    const auto info = readPropertyList(product.bundle / "Contents/Info.plist");
    EXPECT_EQ(text(info, "CFBundleIdentifier"), "com.brennic.Pelx");
    EXPECT_EQ(text(info, "CFBundleExecutable"), "Pellix");
    const auto support = home / ".local/share/Library/Application Support/Brennic/Lumadoc/Beta";
    EXPECT_EQ(product.logs, support / "Pellix/LumaLog");
    EXPECT_EQ(product.messages, support / "PellixMessages");
    EXPECT_GT(sizeBelow(product.logs), 0U);
    EXPECT_GT(sizeBelow(product.messages), 0U);
}

TEST_F(SampleProductTest, StandsWhereItIsTold) {
    const SampleProduct product = makeSampleBundle(home, {.bundle = home / "elsewhere/My & Copy.app"});
    EXPECT_TRUE(fs::exists(home / "elsewhere/My & Copy.app/Contents/Linux/Lumadoc"));
    EXPECT_FALSE(fs::exists(home / "Applications"));
    EXPECT_FALSE(fs::exists(home / ".local"));
    EXPECT_EQ(product.desktopEntry, "");
}

TEST_F(SampleProductTest, HasADesktopEntryWhenAsked) {
    const SampleProduct product =
        makeSampleBundle(home, {.bundle = home / "a $b \"c\" 100%.app", .desktopEntry = true});

    EXPECT_EQ(product.desktopEntry, home / ".local/share/applications/com.brennic.LumadocPE.desktop");
    EXPECT_EQ(contentOf(product.desktopEntry),
              "[Desktop Entry]\nType=Application\nName=Lumadoc\nExec=\"" + home.string() +
                  "/a \\\\$b \\\\\"c\\\\\" 100%%.app/Contents/Linux/Lumadoc\" %F\n");
}

TEST_F(SampleProductTest, HasLogsOfTheSizeAskedFor) {
    for (const std::uint64_t bytes : {0U, 1U, 1000U, 3'000'001U}) {
        const fs::path place = home / std::to_string(bytes);
        const SampleProduct product =
            makeSampleProduct(place, {.logBytes = bytes, .logFiles = 20, .messageBytes = bytes});
        EXPECT_EQ(sizeBelow(product.logs), bytes);
        EXPECT_EQ(filesBelow(product.logs).size(), 20U);
        EXPECT_EQ(sizeBelow(product.messages), bytes);
    }
}

TEST_F(SampleProductTest, HasLogsOfManyKindsInFolders) {
    const SampleProduct product = makeSampleProduct(home);
    std::set<std::string> extensions;
    std::size_t nested = 0;
    for (const auto &[name, content] : filesBelow(product.logs)) {
        extensions.insert(fs::path(name).extension());
        nested += name.find('/') != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(extensions, (std::set<std::string>{"", ".bin", ".json", ".log", ".txt"}));
    EXPECT_GT(nested, 3U);
}

TEST_F(SampleProductTest, HasTheSameTextForTheSameSeed) {
    const auto first = filesBelow(makeSampleProduct(home / "first").library);
    const auto second = filesBelow(makeSampleProduct(home / "second").library);
    const auto other = filesBelow(makeSampleProduct(home / "other", {.seed = 2}).library);
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == other);
}

TEST_F(SampleProductTest, HasCrashReportsAmongOthers) {
    const SampleProduct product = makeSampleProduct(home, {.crashReports = 120, .crashReportBytes = 5000});
    std::size_t own = 0;
    std::size_t others = 0;
    for (const auto &[name, content] : filesBelow(product.crashReports)) {
        if (name.starts_with("Lumacef_")) {
            ++own;
            EXPECT_EQ(content.size(), 5000U);
            EXPECT_EQ(name.size(), std::string("Lumacef_2026-02-03-101112_host.ips").size()) << name;
        } else {
            ++others;
            EXPECT_EQ(name.find("umacef"), std::string::npos) << name;
        }
    }
    EXPECT_EQ(own, 120U);
    EXPECT_EQ(others, 3U);
    EXPECT_TRUE(fs::exists(product.crashReports / "Lumacef_2026-02-03-101112_host.ips"));
    EXPECT_TRUE(fs::exists(product.crashReports / "Lumacef_2026-02-03-100412_host.ips"));
}

TEST_F(SampleProductTest, HasLicensingAndInstallLogs) {
    const auto logs = makeSampleProduct(home).library / "Logs";
    for (const char *name : {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/kwd-1.log", "lumacef_low/low.log",
                             "Brennic/Lumadoc Update Helper QZ.log", "Brennic/Lumadoc Updater QZ.log"})
        EXPECT_GT(contentOf(logs / name).size(), 1000U) << name;
}

TEST_F(SampleProductTest, HasPreferencesInBothFormats) {
    for (const auto format : {Preferences::xml, Preferences::binary}) {
        const bool binary = format == Preferences::binary;
        const SampleProduct product = makeSampleProduct(home, {.preferences = format, .lumaLogging = binary});
        EXPECT_EQ(product.preferences, home / ".local/share/Library/Preferences/com.brennic.LumadocPE.plist");
        const std::string bytes = contentOf(product.preferences);
        EXPECT_EQ(bytes.starts_with("bplist00"), binary);
        EXPECT_EQ(contentOf(product.crashReporterPreferences).starts_with("bplist00"), binary);

        const PropertyList root = readPropertyList(product.preferences);
        const PropertyList *track = root.value("QZ");
        ASSERT_TRUE(track != nullptr && track->isDictionary());
        const PropertyList *logging = track->value("LumaLogging");
        ASSERT_EQ(logging != nullptr, binary);
        if (binary) {
            EXPECT_EQ(logging->value("EnableLumaLogging")->entries().size(), 2U);
        }
    }
}

TEST_F(SampleProductTest, HasNoPreferencesWhenAsked) {
    const SampleProduct product = makeSampleProduct(home, {.preferences = Preferences::none});
    EXPECT_FALSE(fs::exists(product.preferences));
    EXPECT_FALSE(fs::exists(product.crashReporterPreferences));
}

TEST_F(SampleProductTest, ThrowsWhereNothingCanBeWritten) {
    std::ofstream(home / "file") << "in the way";
    EXPECT_THROW(makeSampleProduct(home / "file"), std::exception);
}

TEST_F(SampleProductTest, Runs) {
    const SampleProduct product = makeSampleProduct(home);
    RunningProduct running(product.executable);
    RunningProduct helper(product.helper);

    const auto link = [](const RunningProduct &program) {
        return fs::read_symlink("/proc/" + std::to_string(program.processId()) + "/exe");
    };
    EXPECT_EQ(link(running), fs::canonical(product.executable));
    EXPECT_EQ(link(helper), fs::canonical(product.helper));
    EXPECT_TRUE(running.isRunning());

    const pid_t process = running.processId();
    const auto start = std::chrono::steady_clock::now();
    running.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    EXPECT_EQ(running.processId(), 0);
    EXPECT_FALSE(running.isRunning());
    EXPECT_EQ(kill(process, 0), -1);
    EXPECT_TRUE(helper.isRunning());
}

TEST_F(SampleProductTest, NoticesAnEndOfItsOwn) {
    const SampleProduct product = makeSampleProduct(home);
    RunningProduct running(product.executable);
    kill(running.processId(), SIGKILL);
    for (int i = 0; i < 500 && running.isRunning(); ++i)
        usleep(10'000);
    EXPECT_FALSE(running.isRunning());
}

TEST_F(SampleProductTest, CanBeReplacedWhileItRuns) {
    const SampleProduct product = makeSampleProduct(home);
    RunningProduct running(product.executable);
    EXPECT_NO_THROW(makeSampleProduct(home, {.version = "10.003.20113"}));
    EXPECT_TRUE(running.isRunning());
}

TEST_F(SampleProductTest, EndsWithItsParent) {
    const SampleProduct product = makeSampleProduct(home);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        // Not stopped: this process dies with the product running.
        const RunningProduct running(product.executable);
        const pid_t process = running.processId();
        (void)!write(ends[1], &process, sizeof process);
        usleep(300'000); // Until the product is past its start.
        kill(getpid(), SIGKILL);
    }
    pid_t process = 0;
    ASSERT_EQ(read(ends[0], &process, sizeof process), static_cast<ssize_t>(sizeof process));
    close(ends[0]);
    close(ends[1]);
    waitpid(parent, nullptr, 0);

    const fs::path link = "/proc/" + std::to_string(process) + "/exe";
    std::error_code gone;
    for (int i = 0; i < 500 && !gone; ++i) {
        usleep(10'000);
        (void)fs::read_symlink(link, gone);
    }
    EXPECT_TRUE(gone);
    if (!gone)
        kill(process, SIGKILL);
}

TEST_F(SampleProductTest, ThrowsWhenTheProgramIsMissing) {
    EXPECT_THROW(RunningProduct(home / "none"), std::runtime_error);
}

} // namespace sample_product::test
