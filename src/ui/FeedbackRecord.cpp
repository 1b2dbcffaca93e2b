#include "ui/FeedbackRecord.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "ui/EmailRule.h"

void UtilityFunctions::CreateUserDetailContent(const QString &email, const QString &feedback) {
    if (!tempOutputURL)
        return;
    const QString address = isValidEmail(email) ? email : QString();
    CreateFile(*tempOutputURL / "UserEmailFeedback.json",
               QStringLiteral("{\"machineid\":\"") + getMachineHash() + QStringLiteral("\",\"email\":\"") +
                   address + QStringLiteral("\",\"problemdesc\":\"") + feedback + QStringLiteral("\"}"));
}
