// What the product's own tests rely on without looking: sizes, kinds and the end of the sample product.
#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <set>

namespace fs = std::filesystem;
using namespace sample_product;
using namespace test_support;

namespace {

std::vector<fs::path> filesBelow(const fs::path &folder) {
    std::vector<fs::path> files;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            files.push_back(entry.path());
    }
    return files;
}

std::uintmax_t sizeBelow(const fs::path &folder) {
    std::uintmax_t size = 0;
    for (const fs::path &file : filesBelow(folder))
        size += fs::file_size(file);
    return size;
}

struct SampleProductTest : testing::Test {
    const ScratchFolder home;
};

} // namespace

TEST_F(SampleProductTest, HasLogsOfTheSizeAskedFor) {
    for (const bool incompressible : {false, true}) {
        for (const std::uint64_t bytes : {0U, 1U, 1000U, 3'000'001U}) {
            const auto product = makeSampleProduct(
                home.path() / std::to_string(bytes),
                {.logBytes = bytes, .logFiles = 20, .messageBytes = bytes, .incompressible = incompressible});
            EXPECT_EQ(sizeBelow(product.logs), bytes);
            EXPECT_EQ(filesBelow(product.logs).size(), 20U);
            EXPECT_EQ(sizeBelow(product.messages), bytes);
        }
    }
}

TEST_F(SampleProductTest, HasLogsOfManyKindsAndCrashReportsAmongOthers) {
    const auto product = makeSampleProduct(home.path(), {.crashReports = 120});
    std::set<std::string> extensions;
    for (const fs::path &file : filesBelow(product.logs)) {
        extensions.insert(file.extension());
        const QByteArray content = readFile(file);
        EXPECT_TRUE(content.startsWith("2026-02-03T") && content.endsWith('\n')) << file;
    }
    EXPECT_EQ(extensions, (std::set<std::string>{"", ".bin", ".json", ".log", ".txt"}));
    EXPECT_TRUE(fs::exists(product.logs / "services/session 1"));
    EXPECT_EQ(filesBelow(product.crashReports).size(), 120U + 3);
}

TEST_F(SampleProductTest, EndsWithWhoeverStartedIt) {
    const auto product = makeSampleProduct(home.path());
    const fs::path note = home.path() / "process";
    EXPECT_EQ(statusInChild([&] {
                  RunningProduct running(product.executable);
                  writeFile(note, QByteArray::number(running.processId()));
                  // Without the object's destructor.
                  ::_exit(running.isRunning() ? 3 : 1);
                  return 0;
              }),
              3);
    const fs::path process = "/proc/" + readFile(note).toStdString() + "/exe";
    EXPECT_TRUE(waitUntil([&] {
        std::error_code gone;
        (void)fs::read_symlink(process, gone);
        return bool(gone);
    }));
    EXPECT_THROW(RunningProduct(home.path() / "none"), std::runtime_error);
}

TEST_F(SampleProductTest, IsAProgramThatEndsWithTheProduct) {
    ProgramRun program({.program = SAMPLE_PRODUCT_PATH, .arguments = {"--home", home.path(), "--run"}});
    const std::string before =
        "bundle: " + home.path().native() + "/Applications/Lumadoc.app\ntrack: QZ\nprocess: ";
    ASSERT_TRUE(waitUntil([&] { return program.standardOutput().size() > before.size(); }));
    const std::string output = program.standardOutput();
    EXPECT_THAT(output, testing::StartsWith(before));
    ::kill(std::stoi(output.substr(before.size())), SIGTERM);
    EXPECT_EQ(program.waitForEnd(), exited(1));
    EXPECT_EQ(program.standardError(), "sample_product: the product has ended\n");
}
