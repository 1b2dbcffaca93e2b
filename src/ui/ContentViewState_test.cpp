#include "test_support/WindowFixture.h"
#include "ui/ContentView.h"

#include <QMetaProperty>

namespace {

// Each field that the views can follow, with its value.
std::vector<std::string> fieldsOf(const ContentView &view) {
    std::vector<std::string> fields;
    const QMetaObject &type = ContentViewState::staticMetaObject;
    for (int i = type.propertyOffset(); i < type.propertyCount(); ++i) {
        const QMetaProperty property = type.property(i);
        EXPECT_TRUE(property.isBindable() && property.isWritable()) << property.name();
        fields.push_back(std::string(property.name()) + " = " + printedField(view, property.name()));
    }
    return fields;
}

const std::string basic =
    "BASIC LOGS\n• Lumadoc configuration, settings and logs\n• System configuration and settings";

class ContentViewStateTest : public WindowTest {
protected:
    ContentView view;
};

TEST_F(ContentViewStateTest, EveryFieldHasItsInitialValueAndNotifiesTheViews) {
    EXPECT_THAT(fieldsOf(view),
                testing::ElementsAre(
                    "maxEmailCharacterCount = 40", "maxFeedbackCharacterCount = 2000", "logLabel =  ",
                    "captureInfoLabel = Lumadoc Diagnostics needs to collect the following information to "
                    "address the issue",
                    "startButtonLabel = Start diagnostics",
                    "feedbackLabel = Please tell us what led to the error (required)",
                    "emailLabel = Brennic can contact me for fixes at the following email address (optional)",
                    "captureDetails = " + basic, "colorScheme = light", "isLogEditorVisible = true",
                    "isFeedbackLayoutVisible = false", "isLogLabelVisible = true",
                    "isCloseLayoutVisible = false", "isFeedbackEmailLayoutDisabled = false",
                    "isUploadFailedLayoutVisible = false", "getSpinDump = false", "getInstalledApps = false",
                    "primaryButtonDisabled = false", "advanceLogToggleDisabled = false",
                    "viewlogsButtonDisabled = true", "feedbackText = ", "emailText = ", "isAnimating = true",
                    "primaryButtonColor = PrimaryColor", "primaryButtonTextColor = white",
                    "thickBorderButtonStyle = false", "thickBorderButtonColor = BackgroundColor",
                    "isEditingEnabled = false", "isLoggingCompleteVisible = false",
                    "isStandaloneVersion = false", "isSecondaryError = none", "isInitialFocus = true",
                    "isCopyHovering = false", "CopyText = Copy ID", "isFilePickerPresented = false",
                    "fileProcessingQueue = []", "filesCountInDestination = 0", "currentFileToProcess = none",
                    "fileExistsAlertMessage = ", "showAlert = false", "activeAlert = noAlert",
                    "feedbackFormFocus = noField", "AttachFileButtonWidth = 96",
                    "isLumaloggingEnabled = true", "isRunning = false"));
    EXPECT_FALSE(view.isFormFrozen);
    EXPECT_EQ(view.supportEmail(), QStringLiteral("lumadoc-support@brennic.example"));
    EXPECT_EQ(view.logId().size(), 36);
}

// --- The list of what is collected ---

const std::string advanced =
    "BASIC LOGS" + std::string(57, ' ') + "ADVANCED LOGS\n• Lumadoc configuration, settings and logs" +
    std::string(8, ' ') + "• Full Lumadoc data dump\n• System configuration and settings";
const std::string withApps = advanced + std::string(18, ' ') + "• System apps version information";

// The toggle of the applications does not look at the other one, and what is no change leaves the list.
TEST_F(ContentViewStateTest, EachToggleRewritesTheList) {
    struct Step {
        bool isOfApps;
        bool on;
        const std::string &list;
    };
    for (const auto &[isOfApps, on, list] :
         {Step{false, true, advanced}, Step{true, true, withApps}, Step{true, false, advanced},
          Step{false, false, basic}, Step{true, true, withApps}, Step{false, false, withApps},
          Step{false, true, withApps}, Step{false, false, basic}, Step{true, true, basic}}) {
        isOfApps ? view.changeInstalledApps(on) : view.changeSpinDump(on);
        EXPECT_EQ(isOfApps ? view.getInstalledApps : view.getSpinDump, on);
        EXPECT_EQ(printedField(view, "captureDetails"), list);
    }
}

} // namespace
