// The window's own panel for choosing files, for desktops that have none. It reads folders and changes nothing.
import QtQuick
import QtQuick.Layouts
import Qt.labs.folderlistmodel
import Lumamon

WindowDialog {
    id: panel

    required property ContentView view
    property alias folder: files.folder
    property alias filters: files.nameFilters
    /// The files that are checked, in any folder.
    property var picked: []

    function showFolder(folder: url) {
        sinceShown.restart();
        files.folder = folder;
        list.forceActiveFocus(Qt.PopupFocusReason);
    }

    function toggle(file: url) {
        picked = picked.includes(file) ? picked.filter(other => other !== file) : [...picked, file];
    }

    function choose(chosen: var) {
        picked = [];
        view.closeFilePanel(chosen);
    }

    width: parent ? Math.min(600, parent.width - 48) : 600
    height: parent ? Math.min(480, parent.height - 48) : 480
    visible: view.isFilePanelVisible
    title: "Attach files"
    onEscaped: choose([])
    onOpened: list.forceActiveFocus(Qt.PopupFocusReason)

    // The second click of a double click on a folder is not meant for what the folder shows in its place.
    Timer {
        id: sinceShown

        interval: Application.styleHints.mouseDoubleClickInterval
    }

    RowLayout {
        spacing: 12

        BodyText {
            text: decodeURIComponent(`${files.folder}`.slice("file://".length))
            elide: Text.ElideLeft
            wrapMode: Text.NoWrap
            colorName: "SecondaryTextColor"
            Layout.fillWidth: true
        }

        LinkButton {
            text: "Parent folder"
            enabled: `${files.parentFolder}` !== ""
            onClicked: panel.showFolder(files.parentFolder)
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
            clip: true
            // Rows out of sight are not there for a screen reader either.
            cacheBuffer: 0
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            Accessible.role: Accessible.List
            Accessible.name: panel.title

            model: FolderListModel {
                id: files

                folder: panel.view.filePanelFolder
                nameFilters: panel.view.filePanelFilters
                caseSensitive: false
                sortCaseSensitive: false
                showDirsFirst: true
            }

            // Qt 6.4 has no way to bind a delegate to this file's names.
            // qmllint disable unqualified
            delegate: Toggle {
                required property string fileName
                required property url fileUrl
                required property bool fileIsDir
                required property int index

                width: list.width
                height: 32
                activeFocusOnTab: false
                takesReturn: true
                takesDoubleClick: false
                hasBox: !fileIsDir
                text: fileIsDir ? fileName + "/" : fileName
                checked: panel.picked.includes(fileUrl)
                onClicked: {
                    if (sinceShown.running)
                        return;
                    list.currentIndex = index;
                    fileIsDir ? panel.showFolder(fileUrl) : panel.toggle(fileUrl);
                }
            }
            // qmllint enable unqualified
        }

        BodyText {
            text: "No folders, pictures or documents here"
            colorName: "SecondaryTextColor"
            visible: files.status === FolderListModel.Ready && files.count === 0
            anchors.centerIn: parent
        }
    }

    RowLayout {
        spacing: 12
        Layout.alignment: Qt.AlignRight

        ThickBorderButtonStyle {
            text: "Cancel"
            colorBinding: Assets.color("BackgroundColor")
            onClicked: panel.choose([])
        }

        FocusableButtonStyle {
            text: panel.picked.length < 2 ? "Attach" : `Attach ${panel.picked.length} files`
            enabled: panel.picked.length > 0
            colorBinding: Assets.color("PrimaryColor")
            textColor: "white"
            onClicked: panel.choose(panel.picked)
        }
    }
}
