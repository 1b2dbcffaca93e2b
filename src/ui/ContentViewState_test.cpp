#include "ui/ContentView.h"
#include "ui/WindowTest.h"

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
};

class ContentViewStateTest : public WindowTest {
protected:
    ContentView view;
};

TEST_F(ContentViewStateTest, EveryFieldHasItsInitialValue) {
    for (const auto &[field, value] : initialValues)
        EXPECT_EQ(printedField(view, field), value) << field;
}

// A field that the table above does not know would not be held by it.
TEST_F(ContentViewStateTest, TheTableHasEveryField) {
    std::vector<std::string> known{"objectName", "logId",        "supportEmail",      "isFormFrozen",
                                   "isRunning",  "isEmailValid", "attachedFilesLabel"};
    for (const auto &[field, value] : initialValues)
        known.emplace_back(field);
    const QMetaObject &type = ContentView::staticMetaObject;
    std::vector<std::string> present(static_cast<std::size_t>(type.propertyCount()));
    for (int i = 0; i < type.propertyCount(); ++i)
        present[static_cast<std::size_t>(i)] = type.property(i).name();
    EXPECT_THAT(present, testing::UnorderedElementsAreArray(known));
}

TEST_F(ContentViewStateTest, EveryFieldTellsTheViewsOfItsChanges) {
    for (const auto &[field, value] : initialValues) {
        const auto &type = ContentView::staticMetaObject;
        const QMetaProperty property = type.property(type.indexOfProperty(field));
        EXPECT_TRUE(property.isBindable()) << field;
        EXPECT_TRUE(property.isWritable()) << field;
    }
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

TEST_F(ContentViewStateTest, NothingRunsAndNothingIsFrozenAtFirst) {
    EXPECT_FALSE(view.isRunning());
    EXPECT_FALSE(view.isFormFrozen());
    EXPECT_TRUE(view.isEmailValid());
    EXPECT_EQ(view.supportEmail(), QStringLiteral("lumadoc-support@brennic.example"));
    EXPECT_EQ(view.logId().size(), 36);
}

// --- The list of what is collected ---

const std::string basic =
    "BASIC LOGS\n• Lumadoc configuration, settings and logs\n• System configuration and settings";
const std::string advanced =
    "BASIC LOGS" + std::string(57, ' ') + "ADVANCED LOGS\n• Lumadoc configuration, settings and logs" +
    std::string(8, ' ') + "• Full Lumadoc data dump\n• System configuration and settings";
const std::string withApps = advanced + std::string(18, ' ') + "• System apps version information";

TEST_F(ContentViewStateTest, AdvancedLogsShowTheirColumn) {
    view.changeSpinDump(true);
    EXPECT_EQ(printedField(view, "captureDetails"), advanced);
    EXPECT_TRUE(view.getSpinDump);
    view.changeInstalledApps(true);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
    EXPECT_TRUE(view.getInstalledApps);
    view.changeInstalledApps(false);
    EXPECT_EQ(printedField(view, "captureDetails"), advanced);
    view.changeSpinDump(false);
    EXPECT_EQ(printedField(view, "captureDetails"), basic);
    EXPECT_FALSE(view.getSpinDump || view.getInstalledApps);
}

TEST_F(ContentViewStateTest, AppsAloneShowTheColumnToo) {
    view.changeInstalledApps(true);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
    EXPECT_FALSE(view.getSpinDump);
    view.changeInstalledApps(false);
    EXPECT_EQ(printedField(view, "captureDetails"), advanced);
}

TEST_F(ContentViewStateTest, TurningAdvancedLogsOffBehindAppsRestoresTheBasicList) {
    view.changeInstalledApps(true);
    view.changeSpinDump(true);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
    view.changeSpinDump(false);
    EXPECT_EQ(printedField(view, "captureDetails"), basic);
    EXPECT_TRUE(view.getInstalledApps);
    view.changeSpinDump(true);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
}

TEST_F(ContentViewStateTest, WhatIsNoChangeLeavesTheList) {
    view.changeInstalledApps(true);
    view.changeSpinDump(false);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
    view.changeInstalledApps(true);
    EXPECT_EQ(printedField(view, "captureDetails"), withApps);
}

} // namespace
