// The address for the answer: one line. Return leads back to the description.
import QtQuick
import QtQuick.Controls.Basic
import Lumamon

FormBox {
    id: box

    field: ContentView.Field.email
    caption: view.emailLabel
    text: view.emailText
    problem: "Invalid email address"
    isWrong: !view.isEmailValid
    input: line
    limit: view.maxEmailCharacterCount
    onChanged: text => view.changeEmail(text)

    TextField {
        id: line

        text: box.text
        enabled: !box.view.isFormFrozen
        readOnly: box.view.isFeedbackEmailLayoutDisabled
        color: Assets.color(enabled ? "PrimaryTextColor" : "SecondaryTextColor")
        font.family: "BrennicClean-Regular"
        font.pixelSize: 14
        inputMethodHints: Qt.ImhEmailCharactersOnly
        background: null
        anchors.fill: parent
        Accessible.name: box.caption
        Accessible.readOnly: readOnly
        Accessible.editable: !readOnly
        Accessible.description: box.isWrong ? box.problem : enabled ? "" : "Unavailable"
        Keys.onReturnPressed: box.view.leaveEmail()
        Keys.onEnterPressed: box.view.leaveEmail()
    }
}
