// Limits of the system: with no threads, descriptors, memory or file size left, a step fails with its line,
// and the run ends as any that has lost that step.
#include "tests/SilentRun.h"

namespace fs = std::filesystem;
using namespace test_support;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

// What whoever loads a program answers when there is not enough for that.
constexpr int notLoaded = 127;

class Limits : public SilentRun {
protected:
    Limits() { install(); }

    // The program under a limit, as prlimit takes it.
    ProgramOptions under(const std::string &limit,
                         const std::vector<std::string> &arguments = {"/silent"}) const {
        auto options = program(arguments);
        options.arguments.insert(options.arguments.begin(), {"--core=0", limit, options.program.native()});
        options.program = "/usr/bin/prlimit";
        return options;
    }

    // Runs under the limit. The run ends with a status, or has no archive and stays.
    // Whether it succeeds.
    bool succeedsUnder(const std::string &limit) const {
        SCOPED_TRACE(limit);
        fs::remove_all(root());
        fs::remove_all(home.caches());
        ProgramRun running(under(limit));
        const auto hasNoArchive = [this] {
            return (log() + log(firstLogFile())).find("unable to copy compressed file.") != std::string::npos;
        };
        EXPECT_TRUE(waitUntil([&] { return !running.isRunning() || hasNoArchive(); })) << log();
        const auto end = running.waitForEnd(std::chrono::milliseconds(0));
        EXPECT_THAT(end.value_or(0), AnyOf(exited(0), exited(1), exited(notLoaded)))
            << running.standardError() << log();
        return end == exited(0) && log().find(" Upload successful") != std::string::npos;
    }
};

} // namespace

TEST_F(Limits, WithoutAThreadItCollectsAndStaysWithoutAnArchive) {
    if (isSanitized || !canEnter(enterNoThreads))
        GTEST_SKIP() << "the sanitizer needs a thread, or this user cannot run programs as somebody else";
    giveToUserWithoutThreads(home.path());
    auto options = program();
    options.beforeStart = enterNoThreads;
    ProgramRun running(options);
    expectItStays(running, logFile());
    EXPECT_THAT(log(), testing::EndsWith("ERROR: Failed to compress the directory.\n"
                                         "ERROR: zip could not be run: Resource temporarily unavailable\n"
                                         "ERROR: unable to copy compressed file.\n"));
    EXPECT_TRUE(fs::exists(runFolder() / "Lumadoc/LumaLog/Lumadoc-1.log"));
}

TEST_F(Limits, WithFewDescriptors) {
    for (int descriptors = 3; descriptors < 24; ++descriptors)
        succeedsUnder("--nofile=" + std::to_string(descriptors));
    for (const int descriptors : {24, 32, 64})
        EXPECT_TRUE(succeedsUnder("--nofile=" + std::to_string(descriptors))) << log();
}

// From too little for the loader to what is enough.
TEST_F(Limits, WithLittleMemory) {
    if (isSanitized)
        GTEST_SKIP() << "the sanitizer needs more addresses than there is memory";
    constexpr int mebibyte = 1 << 20;
    int limit = 40 * mebibyte;
    while (limit < 1000 * mebibyte && !succeedsUnder("--as=" + std::to_string(limit)))
        limit += 2 * mebibyte;
    EXPECT_LT(limit, 200 * mebibyte);
}

TEST_F(Limits, WithFilesThatMayNotGrow) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer writes half a mebibyte to a file before the program begins";
#endif
    for (const int bytes : {0, 1, 100, 1000, 4096, 10'000, 20'000}) {
        succeedsUnder("--fsize=" + std::to_string(bytes));
        if (bytes == 4096) {
            EXPECT_THAT(log(), HasSubstr("ERROR: Error copying LumaLog: File too large\n"));
        }
    }
    EXPECT_TRUE(succeedsUnder("--fsize=1000000")) << log();
}

TEST_F(Limits, AWindowWithoutThreadsDescriptorsOrMemorySaysSo) {
    const auto expectRefused = [this](const ProgramOptions &options) {
        expectEnd(options, 1, "",
                  "Brennic_Lumadoc_Diagnostics: the window cannot be opened: too few threads or files or too "
                  "little memory is left\n");
    };
    expectRefused(under("--nofile=12", {}));
    if (isSanitized || !canEnter(enterNoThreads))
        GTEST_SKIP() << "the sanitizer needs a thread, or this user cannot run programs as somebody else";
    expectRefused(under("--as=400000000", {}));
    giveToUserWithoutThreads(home.path());
    auto options = program({});
    options.beforeStart = enterNoThreads;
    expectRefused(options);
}
