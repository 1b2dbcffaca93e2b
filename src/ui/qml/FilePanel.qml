// The window's own panel for choosing files, for desktops that have none. It reads folders and changes nothing.
import QtQuick
import QtQuick.Layouts
import Lumamon

WindowDialog {
    id: panel

    property alias folder: folder
    /// The files that are checked, in any folder.
    property var picked: []

    function choose(chosen: var) {
        picked = [];
        ContentView.closeFilePanel(chosen);
    }

    width: parent ? Math.min(600, parent.width - 48) : 600
    height: parent ? Math.min(480, parent.height - 48) : 480
    visible: ContentView.isFilePanelVisible
    title: "Attach files"
    onEscaped: choose([])
    onAboutToShow: folder.list()
    onOpened: list.forceActiveFocus(Qt.PopupFocusReason)

    FolderList {
        id: folder

        onPathChanged: {
            sinceShown.restart();
            list.forceActiveFocus(Qt.PopupFocusReason);
        }
        // Rows that come in put the current one behind them.
        onIsListedChanged: list.currentIndex = 0
    }

    // The second click of a double click on a folder is not meant for what the folder shows in its place.
    Timer {
        id: sinceShown

        interval: Application.styleHints.mouseDoubleClickInterval
    }

    RowLayout {
        spacing: 12

        BodyText {
            text: folder.path
            elide: Text.ElideLeft
            wrapMode: Text.NoWrap
            colorName: "SecondaryTextColor"
            Layout.fillWidth: true
        }

        LinkButton {
            text: "Parent folder"
            enabled: folder.hasParent
            onClicked: folder.openParent()
        }
    }

    BoxFrame {
        isFocused: list.activeFocus && list.count === 0
        Layout.fillWidth: true
        Layout.fillHeight: true

        ListView {
            id: list

            anchors.fill: parent
            anchors.margins: 8
            // Room for the ring around a box.
            anchors.leftMargin: 2
            clip: true
            // Rows out of sight are not there for a screen reader either.
            cacheBuffer: 0
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            Accessible.role: Accessible.List
            Accessible.name: panel.title

            model: folder.entries

            // Qt 6.4 has no way to bind a delegate to this file's names.
            // qmllint disable unqualified
            delegate: Toggle {
                required property var modelData
                required property int index

                x: 6
                width: list.width - x
                height: 32
                activeFocusOnTab: false
                takesReturn: true
                takesDoubleClick: false
                hasBox: !modelData.isFolder
                text: modelData.name
                checked: panel.picked.includes(modelData.file)
                onClicked: {
                    if (sinceShown.running)
                        return;
                    list.currentIndex = index;
                    if (modelData.isFolder)
                        folder.open(modelData.file);
                    else
                        panel.picked = checked ? panel.picked.filter(file => file !== modelData.file)
                                               : [...panel.picked, modelData.file];
                }
            }
            // qmllint enable unqualified
        }

        PageScrollBar {
            page: list
            anchors.right: parent.right
            height: parent.height
            Accessible.name: panel.title
        }

        BodyText {
            text: folder.isListed ? "No folders, pictures or documents here" : "Waiting for the disk"
            colorName: "SecondaryTextColor"
            visible: list.count === 0
            anchors.centerIn: parent
        }
    }

    RowLayout {
        spacing: 12
        Layout.alignment: Qt.AlignRight

        ThickBorderButtonStyle {
            text: "Cancel"
            onClicked: panel.choose([])
        }

        FocusableButtonStyle {
            text: panel.picked.length < 2 ? "Attach" : `Attach ${panel.picked.length} files`
            enabled: panel.picked.length > 0
            onClicked: panel.choose(panel.picked)
        }
    }
}
