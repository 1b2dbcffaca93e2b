#include "app/CommandLineArguments.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace {

using namespace CommandLineArguments;
using UtilityFunctions::IsSilentMode;

class CommandLineArgumentsTest : public testing::Test {
protected:
    // Reads the arguments behind an executable path, and gives what was logged.
    QStringList read(const QStringList &arguments) {
        parse(QStringList{QStringLiteral("/opt/Program")} + arguments);
        return test_support::logLines(log);
    }

    test_support::ScratchHome home;
    std::filesystem::path log = test_support::startLog();
};

TEST_F(CommandLineArgumentsTest, ExecutablePathAloneIsWindowModeWithNothingProvided) {
    EXPECT_EQ(read({}), (QStringList{QStringLiteral("INFO: /opt/Program"),
                                     QStringLiteral("INFO: Arguments: Silent Mode: No"),
                                     QStringLiteral("INFO: Component Name: Not provided"),
                                     QStringLiteral("INFO: product: Not provided"),
                                     QStringLiteral("INFO: Track: Not provided")}));
    EXPECT_FALSE(IsSilentMode || componentName || product || track);
}

TEST_F(CommandLineArgumentsTest, AllOptionsAreReadInLowerCaseAndLogged) {
    EXPECT_EQ(read({QStringLiteral("/SILENT"), QStringLiteral("/Product=Lumadoc"),
                    QStringLiteral("/track=QZ "), QStringLiteral("\t/Component=Core Editor\n")}),
              (QStringList{QStringLiteral(
                               "INFO: /opt/Program, /SILENT, /Product=Lumadoc, /track=QZ , \t/Component=Core "
                               "Editor"),
                           QStringLiteral("MALFORMED: "), QStringLiteral("INFO: Arguments: Silent Mode: Yes"),
                           QStringLiteral("INFO: Component Name: core editor"),
                           QStringLiteral("INFO: product: lumadoc"), QStringLiteral("INFO: Track: qz")}));
    EXPECT_TRUE(IsSilentMode);
    EXPECT_EQ(*product, QStringLiteral("lumadoc"));
}

TEST_F(CommandLineArgumentsTest, BlanksAroundTheSwitchDoNotCount) {
    read({QStringLiteral("  /silent \n")});
    EXPECT_TRUE(IsSilentMode);
}

TEST_F(CommandLineArgumentsTest, TheSwitchTakesNoValue) {
    for (const char *argument : {"/silent=yes", "/silentx", "silent", "--silent", "/silent /silent"})
        read({QString::fromLatin1(argument)});
    EXPECT_FALSE(IsSilentMode);
}

TEST_F(CommandLineArgumentsTest, AnEmptyValueIsAValue) {
    const QStringList lines = read({QStringLiteral("/track=")});
    EXPECT_EQ(track, QString());
    EXPECT_TRUE(track.has_value());
    EXPECT_EQ(lines.last(), QStringLiteral("INFO: Track: "));
}

TEST_F(CommandLineArgumentsTest, TheLastOfSeveralWins) {
    read({QStringLiteral("/product=lumadoc"), QStringLiteral("/product=pellix")});
    EXPECT_EQ(*product, QStringLiteral("pellix"));
}

TEST_F(CommandLineArgumentsTest, AnythingElseIsPassedOver) {
    EXPECT_EQ(read({QStringLiteral("/produkt=x"), QStringLiteral("x/product=y"), QString()}).size(), 5);
    EXPECT_FALSE(product);
}

} // namespace
