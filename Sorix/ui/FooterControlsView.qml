import QtQuick
import QtQuick.Layouts

// The panel's last row: settings, the live level display and quit. The settings popover is drawn
// inside the panel, above this row, because the panel is a single window of its own.
Item {
    id: footer

    property var engine: null
    property bool waveformRunning: true
    property string version
    property bool launchAtLogin: false
    property bool soundSettingsAvailable: false

    signal quitRequested()
    signal soundSettingsRequested()
    signal launchAtLoginToggled(bool on)
    // The login status can change behind the application's back, so it is re-read on each open.
    signal settingsShown()

    property bool settingsOpen: false

    function showSettings(open) {
        if (open === settingsOpen)
            return
        settingsOpen = open
        if (open)
            settingsShown()
    }

    implicitWidth: 352
    implicitHeight: row.implicitHeight

    RowLayout {
        id: row
        anchors.fill: parent
        spacing: 0

        FooterButton {
            objectName: "settingsButton"
            symbol: "gearshape.fill"
            title: "Settings"
            highlighted: footer.settingsOpen
            onClicked: footer.showSettings(!footer.settingsOpen)
        }
        Item { Layout.fillWidth: true }
        MiniWaveformView {
            objectName: "footerWaveform"
            Layout.preferredWidth: 110
            Layout.preferredHeight: 18
            engine: footer.engine
            running: footer.waveformRunning
        }
        Item { Layout.fillWidth: true }
        FooterButton {
            objectName: "quitButton"
            symbol: "power"
            title: "Quit"
            onClicked: footer.quitRequested()
        }
    }

    // While the popover is open, a press anywhere else in the panel only closes it, as with any
    // popover: the press must not also reach whatever lies beneath.
    MouseArea {
        objectName: "settingsDismissArea"
        visible: footer.settingsOpen
        readonly property point origin: visible ? footer.mapToItem(null, 0, 0) : Qt.point(0, 0)
        x: -origin.x
        y: -origin.y
        width: footer.Window.width
        height: footer.Window.height
        onPressed: footer.showSettings(false)
    }

    Item {
        id: popover
        objectName: "settingsPopover"
        visible: footer.settingsOpen
        width: 250
        height: card.height
        y: -height - 8

        onVisibleChanged: if (visible) appear.restart()

        ParallelAnimation {
            id: appear
            NumberAnimation { target: popover; property: "opacity"; from: 0; to: 1; duration: 140; easing.type: Easing.OutQuad }
            NumberAnimation { target: card; property: "y"; from: 5; to: 0; duration: 140; easing.type: Easing.OutQuad }
        }

        // A soft shadow of stacked translucent layers, which every scene graph backend draws alike.
        Repeater {
            model: 7
            Rectangle {
                required property int index
                x: card.x - index - 1
                y: card.y - index + 2
                width: card.width + 2 * (index + 1)
                height: card.height + 2 * (index + 1)
                radius: card.radius + index + 1
                color: Qt.rgba(0, 0, 0, 0.075)
            }
        }

        Rectangle {
            id: card
            width: parent.width
            height: content.implicitHeight + 28
            radius: 14
            color: Brand.surfaceElevated
            border.color: Brand.border
            border.width: 1

            // Presses on the card itself are the card's, not the dismiss area's beneath it.
            MouseArea { anchors.fill: parent }

            Column {
                id: content
                x: 14
                y: 14
                width: parent.width - 28
                spacing: 12

                Text {
                    text: "Sorix " + footer.version
                    font.family: Brand.fontFamily
                    font.pixelSize: 10
                    color: Brand.textMuted
                }

                Item {
                    width: parent.width
                    height: Math.max(labels.implicitHeight, loginToggle.height)

                    Column {
                        id: labels
                        width: parent.width - loginToggle.width - 12
                        anchors.verticalCenter: parent.verticalCenter
                        spacing: 3

                        // Pixel sizes are whole numbers in Qt Quick: 12.5 and 10.5 round up.
                        Text {
                            text: "Launch at login"
                            font.family: Brand.fontFamily
                            font.pixelSize: 13
                            color: Brand.textPrimary
                        }
                        Text {
                            width: parent.width
                            text: "Sorix opens in the tray after you log in"
                            wrapMode: Text.WordWrap
                            font.family: Brand.fontFamily
                            font.pixelSize: 11
                            color: Brand.textSecondary
                        }
                    }

                    GradientToggle {
                        id: loginToggle
                        objectName: "launchAtLoginToggle"
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        width: 48 * 0.8
                        height: 26 * 0.8
                        isOn: footer.launchAtLogin
                        onToggled: on => footer.launchAtLoginToggled(on)
                    }
                }

                Rectangle {
                    visible: footer.soundSettingsAvailable
                    width: parent.width
                    height: 1
                    color: Brand.border
                }

                Item {
                    objectName: "soundSettingsButton"
                    visible: footer.soundSettingsAvailable
                    width: parent.width
                    height: 26

                    Rectangle {
                        anchors.fill: parent
                        anchors.leftMargin: -6
                        anchors.rightMargin: -6
                        radius: 7
                        color: Qt.rgba(1, 1, 1, soundArea.pressed ? 0.1 : 0.06)
                        visible: soundArea.containsMouse
                    }

                    Row {
                        anchors.verticalCenter: parent.verticalCenter
                        spacing: 8

                        SymbolText {
                            anchors.verticalCenter: parent.verticalCenter
                            symbol: "speaker.wave.2.fill"
                            size: 12
                            color: Brand.textSecondary
                        }
                        Text {
                            anchors.verticalCenter: parent.verticalCenter
                            text: "Sound Settings…"
                            font.family: Brand.fontFamily
                            font.pixelSize: 11
                            color: Brand.textPrimary
                        }
                    }

                    MouseArea {
                        id: soundArea
                        anchors.fill: parent
                        hoverEnabled: true
                        cursorShape: Qt.PointingHandCursor
                        onClicked: {
                            footer.showSettings(false)
                            footer.soundSettingsRequested()
                        }
                    }
                }
            }
        }
    }
}
