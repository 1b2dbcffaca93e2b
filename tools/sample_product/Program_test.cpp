// The sample product as a program.
#include "../ProgramRun.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace sample_product::test {

namespace {

class SampleProductProgram : public testing::Test {
protected:
    tools::ProgramRun run(const std::vector<std::string> &arguments) {
        std::vector<std::string> command{SAMPLE_PRODUCT_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return {std::move(command), folder.path};
    }
    std::string home() const { return folder.path / "home"; }

    tools::ScratchFolder folder;
};

} // namespace

TEST_F(SampleProductProgram, MakesWhatItIsToldTo) {
    auto program =
        run({"--home", home(), "--edition", "pellix", "--version", "24.1.10", "--log-bytes", "5000",
             "--log-files", "2", "--crash-reports", "1", "--desktop-entry", "--binary-preferences"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.output(), "bundle: " + home() + "/Applications/Pellix.app\ntrack: Beta\n");
    EXPECT_EQ(program.errors(), "");

    const fs::path library = fs::path(home()) / ".local/share/Library";
    const auto logs = library / "Application Support/Brennic/Lumadoc/Beta/Pellix/LumaLog";
    EXPECT_EQ(fs::file_size(logs / "Lumadoc-1.log") + fs::file_size(logs / "services/network-2.txt"), 5000U);
    EXPECT_TRUE(fs::exists(library / "Preferences/com.brennic.Pelx.plist"));
    EXPECT_TRUE(fs::exists(fs::path(home()) / ".local/share/applications/com.brennic.Pelx.desktop"));
}

TEST_F(SampleProductProgram, MakesTheBundleAlone) {
    auto program = run({"--home", home(), "--bundle-only", "--bundle", home() + "/Copy.app"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(fs::exists(home() + "/Copy.app/Contents/Linux/Lumadoc"));
    EXPECT_FALSE(fs::exists(home() + "/.local"));
}

TEST_F(SampleProductProgram, RunsTheProductUntilASignal) {
    auto program = run({"--home", home(), "--run"});
    ASSERT_TRUE(program.waitForOutput("process: "));
    const std::string output = program.output();
    const std::string process = output.substr(output.find("process: ") + 9);
    const fs::path link = "/proc/" + process.substr(0, process.find('\n')) + "/exe";
    EXPECT_EQ(fs::read_symlink(link),
              fs::canonical(home()) / "Applications/Lumadoc.app/Contents/Linux/Lumadoc");

    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_FALSE(fs::is_symlink(link));
}

TEST_F(SampleProductProgram, EndsWithTheProduct) {
    auto program = run({"--home", home(), "--run"});
    ASSERT_TRUE(program.waitForOutput("process: "));
    const std::string output = program.output();
    kill(std::stoi(output.substr(output.find("process: ") + 9)), SIGTERM);
    EXPECT_EQ(program.wait(), 1);
    EXPECT_EQ(program.errors(), "sample_product: the product has ended\n");
}

TEST_F(SampleProductProgram, RefusesWrongOptions) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "--home is missing"},
        {{"--home"}, "--home needs a value"},
        {{"--home", home(), "--other"}, "unknown option --other"},
        {{"--home", home(), "more"}, "unexpected argument more"},
        {{"--home", home(), "--edition", "Other"}, "--edition takes lumadoc or pellix, not \"Other\""},
        {{"--home", home(), "--log-bytes", "-1"}, "--log-bytes takes a whole number, not \"-1\""},
        {{"--home", home(), "--seed", "1x"}, "--seed takes a whole number, not \"1x\""},
    };
    for (const auto &[arguments, message] : cases) {
        auto program = run(arguments);
        EXPECT_EQ(program.wait(), 2);
        EXPECT_EQ(program.output(), "");
        EXPECT_EQ(program.errors(), "sample_product: " + message + " (see --help)\n");
        EXPECT_FALSE(fs::exists(home()));
    }
}

TEST_F(SampleProductProgram, ExplainsItself) {
    auto program = run({"--help"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(program.output().starts_with("Usage: sample_product --home FOLDER"));
}

TEST_F(SampleProductProgram, SaysWhatItCannotWrite) {
    auto program = run({"--home", "/proc/none"});
    EXPECT_EQ(program.wait(), 1);
    EXPECT_TRUE(program.errors().starts_with("sample_product: "));
}

TEST(SampleApp, EndsWithItsInput) {
    const tools::ScratchFolder folder;
    tools::ProgramRun program({"/bin/sh", "-c", "echo | '" SAMPLE_APP_PATH "' --exit-at-end-of-input"},
                              folder.path);
    EXPECT_EQ(program.wait(), 0);
}

TEST(SampleApp, RefusesWrongOptions) {
    const tools::ScratchFolder folder;
    tools::ProgramRun program({SAMPLE_APP_PATH, "--other"}, folder.path);
    EXPECT_EQ(program.wait(), 2);
    EXPECT_TRUE(program.errors().starts_with("Usage: sample_app"));
}

} // namespace sample_product::test
