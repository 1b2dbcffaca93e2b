#include "app/CommandLineArguments.h"

#include "test_support/LoggedTest.h"

namespace {

using namespace CommandLineArguments;
using testing::ElementsAre;
using UtilityFunctions::IsSilentMode;

class CommandLine : public test_support::LoggedTest {
protected:
    // Reads the arguments after an executable path.
    static void read(const QStringList &arguments) {
        parse(QStringList{QStringLiteral("/opt/Program")} + arguments);
    }
};

TEST_F(CommandLine, AllOptionsAreReadInLowerCaseAndLogged) {
    read({QStringLiteral("  /SILENT \n"), QStringLiteral("/product=pellix"),
          QStringLiteral("/Product=Lumadoc"), QStringLiteral("/track="),
          QStringLiteral("\t/Component=Core Editor\n")});
    EXPECT_THAT(said(),
                ElementsAre("INFO: /opt/Program,   /SILENT \\n, /product=pellix, /Product=Lumadoc, /track=, "
                            "\\t/Component=Core Editor\\n",
                            "INFO: Arguments: Silent Mode: Yes", "INFO: Component Name: core editor",
                            "INFO: product: lumadoc", "INFO: Track: "));
    EXPECT_TRUE(IsSilentMode);
    EXPECT_EQ(product, QStringLiteral("lumadoc"));
    EXPECT_EQ(track, std::optional(QString()));
}

TEST_F(CommandLine, NothingElseIsAnOption) {
    const QStringList others{QStringLiteral("/silent=yes"), QStringLiteral("/silentx"),
                             QStringLiteral("--silent"),    QStringLiteral("/silent /silent"),
                             QStringLiteral("x/product=y"), QString()};
    read(others);
    EXPECT_FALSE(IsSilentMode || componentName || product || track);
    EXPECT_THAT(said(), ElementsAre("INFO: /opt/Program, " + others.join(QStringLiteral(", ")).toStdString(),
                                    "INFO: Arguments: Silent Mode: No", "INFO: Component Name: Not provided",
                                    "INFO: product: Not provided", "INFO: Track: Not provided"));
    EXPECT_TRUE(std::ranges::none_of(others, asksForSilence));
    EXPECT_TRUE(asksForSilence(QStringLiteral(" /Silent")));
}

} // namespace
