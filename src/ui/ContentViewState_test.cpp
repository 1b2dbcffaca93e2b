#include "test_support/WindowFixture.h"
#include "ui/ContentView.h"

#include <QMetaEnum>
#include <QMetaProperty>

namespace {

struct InitialValue {
    const char *field;
    const char *value;
};

constexpr InitialValue initialValues[] = {
    {"maxEmailCharacterCount", "40"},
    {"maxFeedbackCharacterCount", "2000"},
    {"logLabel", " "},
    {"captureInfoLabel",
     "Lumadoc Diagnostics needs to collect the following information to address the issue"},
    {"startButtonLabel", "Start diagnostics"},
    {"feedbackLabel", "Please tell us what led to the error (required)"},
    {"emailLabel", "Brennic can contact me for fixes at the following email address (optional)"},
    {"captureDetails",
     "BASIC LOGS\n• Lumadoc configuration, settings and logs\n• System configuration and settings"},
    {"colorScheme", "light"},
    {"isLogEditorVisible", "true"},
    {"isFeedbackLayoutVisible", "false"},
    {"isLogLabelVisible", "true"},
    {"isCloseLayoutVisible", "false"},
    {"isFeedbackEmailLayoutDisabled", "false"},
    {"isUploadFailedLayoutVisible", "false"},
    {"getSpinDump", "false"},
    {"getInstalledApps", "false"},
    {"primaryButtonDisabled", "false"},
    {"advanceLogToggleDisabled", "false"},
    {"viewlogsButtonDisabled", "true"},
    {"feedbackText", ""},
    {"emailText", ""},
    {"isAnimating", "true"},
    {"primaryButtonColor", "PrimaryColor"},
    {"primaryButtonTextColor", "white"},
    {"thickBorderButtonStyle", "false"},
    {"thickBorderButtonColor", "BackgroundColor"},
    {"isEditingEnabled", "false"},
    {"isLoggingCompleteVisible", "false"},
    {"isStandaloneVersion", "false"},
    {"isSecondaryError", "none"},
    {"isInitialFocus", "true"},
    {"isCopyHovering", "false"},
    {"CopyText", "Copy ID"},
    {"isFilePickerPresented", "false"},
    {"fileProcessingQueue", "[]"},
    {"filesCountInDestination", "0"},
    {"currentFileToProcess", "none"},
    {"fileExistsAlertMessage", ""},
    {"showAlert", "false"},
    {"activeAlert", "noAlert"},
    {"feedbackFormFocus", "noField"},
    {"AttachFileButtonWidth", "96"},
    {"isLumaloggingEnabled", "true"},
    {"isRunning", "false"},
};

class ContentViewStateTest : public WindowTest {
protected:
    ContentView view;
};

TEST_F(ContentViewStateTest, EveryFieldHasItsInitialValueAndNotifiesTheViews) {
    // What follows from the fields and from the run.
    std::vector<std::string> known{"objectName",   "logId",        "supportEmail",
                                   "isFormFrozen", "isEmailValid", "attachedFilesLabel"};
    const QMetaObject &type = ContentView::staticMetaObject;
    for (const auto &[field, value] : initialValues) {
        EXPECT_EQ(printedField(view, field), value) << field;
        const QMetaProperty property = type.property(type.indexOfProperty(field));
        EXPECT_TRUE(property.isBindable() && property.isWritable()) << field;
        known.emplace_back(field);
    }
    std::vector<std::string> present;
    for (int i = 0; i < type.propertyCount(); ++i)
        present.emplace_back(type.property(i).name());
    EXPECT_THAT(present, testing::UnorderedElementsAreArray(known));
    EXPECT_FALSE(view.isFormFrozen());
    EXPECT_EQ(view.supportEmail(), QStringLiteral("lumadoc-support@brennic.example"));
    EXPECT_EQ(view.logId().size(), 36);
}

std::vector<std::string> casesOf(const char *enumeration) {
    const QMetaObject &type = ContentView::staticMetaObject;
    const QMetaEnum found = type.enumerator(type.indexOfEnumerator(enumeration));
    std::vector<std::string> names;
    for (int i = 0; i < found.keyCount(); ++i) {
        EXPECT_EQ(found.value(i), i);
        names.emplace_back(found.key(i));
    }
    return names;
}

TEST_F(ContentViewStateTest, EnumerationsHaveTheirCasesInOrder) {
    EXPECT_THAT(casesOf("SecondaryError"), testing::ElementsAre("none", "network", "canceled"));
    EXPECT_THAT(casesOf("ActiveAlert"), testing::ElementsAre("noAlert", "fileSize", "replaceFile"));
    EXPECT_THAT(casesOf("Field"), testing::ElementsAre("noField", "feedback", "email"));
    EXPECT_THAT(casesOf("ColorScheme"), testing::ElementsAre("light", "dark"));
}

// --- The list of what is collected ---

const std::string basic =
    "BASIC LOGS\n• Lumadoc configuration, settings and logs\n• System configuration and settings";
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
          Step{false, true, withApps}, Step{false, false, basic}, Step{true, true, basic},
          Step{false, true, withApps}, Step{false, false, basic}, Step{true, false, advanced}}) {
        if (isOfApps)
            view.changeInstalledApps(on);
        else
            view.changeSpinDump(on);
        EXPECT_EQ(isOfApps ? view.getInstalledApps : view.getSpinDump, on);
        EXPECT_EQ(printedField(view, "captureDetails"), list);
    }
}

} // namespace
