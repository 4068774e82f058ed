import QtQuick
import Sorix.Panel

// The output card: what plays, with a click on its header to choose, and under it a volume row
// for each playing output; with several, a delay row each, the help, the Bluetooth warning and
// the link switch. It keeps no audio state: every value is bound from its owner, every change
// is reported.
Rectangle {
    id: card

    // The header's texts and whether several outputs play.
    property string title: "System Output"
    property string subtitle: ""
    property bool severalOutputs: false
    // Each playing output: a map of uid, name, volume and delayMs.
    property var rows: []
    property bool tooManyBluetoothOutputs: false
    property bool volumesLinked: true
    // Snapshots are taken without the menu's anchor.
    property bool showsMenuAnchor: true
    // Where the output menu opens: just under the header.
    readonly property Item menuAnchor: showsMenuAnchor ? anchorItem : null

    signal headerClicked()
    signal volumeChosen(string uid, real volume)
    signal delayChosen(string uid, real delayMs)
    signal linkToggled()

    readonly property bool multiple: rows.length > 1

    implicitWidth: 352
    implicitHeight: header.height + (rows.length > 0 ? rowsSection.implicitHeight : 0)
    radius: 16
    color: Brand.deepPanel
    border.color: Qt.rgba(1, 1, 1, 0.08)
    border.width: 1

    Item {
        id: header
        objectName: "outputHeader"
        width: parent.width
        height: 64

        Rectangle {
            id: tile
            x: 14
            anchors.verticalCenter: parent.verticalCenter
            width: 40
            height: 40
            radius: 10
            color: Brand.surfaceElevated
            border.color: Qt.rgba(1, 1, 1, 0.08)
            border.width: 1

            SymbolText {
                objectName: "outputIcon"
                anchors.centerIn: parent
                symbol: card.severalOutputs ? "hifispeaker.2.fill" : "headphones"
                size: 19
                color: Brand.textPrimary
            }
        }

        Column {
            anchors.left: tile.right
            anchors.leftMargin: 12
            anchors.right: chevron.left
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            spacing: 1

            Text {
                text: "OUTPUT"
                font.family: Brand.fontFamily
                font.pixelSize: 10
                font.weight: Font.DemiBold
                font.letterSpacing: 1.8
                color: Brand.textSecondary
            }
            Text {
                objectName: "outputTitle"
                width: parent.width
                text: card.title
                elide: Text.ElideRight
                font.family: Brand.fontFamily
                font.pixelSize: 14
                font.weight: Font.Medium
                color: Brand.textPrimary
            }
            Text {
                objectName: "outputSubtitle"
                width: parent.width
                text: card.subtitle
                elide: Text.ElideRight
                font.family: Brand.fontFamily
                font.pixelSize: 11
                color: Brand.textSecondary
            }
        }

        SymbolText {
            id: chevron
            anchors.right: parent.right
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            symbol: "chevron.down"
            // The icon font's chevron is drawn small within its square.
            size: 18
            color: Brand.textMuted
        }

        MouseArea {
            anchors.fill: parent
            cursorShape: Qt.PointingHandCursor
            onClicked: card.headerClicked()
        }

        // An empty item along the header's lower edge: the menu opens 4 px below it.
        Item {
            id: anchorItem
            objectName: "outputMenuAnchor"
            anchors.bottom: parent.bottom
            width: parent.width
            height: 0
            visible: card.showsMenuAnchor
        }
    }

    Column {
        id: rowsSection
        objectName: "outputRows"
        anchors.top: header.bottom
        x: 14
        width: parent.width - 28
        topPadding: 2
        bottomPadding: 12
        spacing: 8
        opacity: card.rows.length > 0 ? 1 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }

        // Counted rather than listed: new values for the same outputs then reach the rows that
        // stand, so a drag in progress is not cut off by the value it just set.
        Repeater {
            model: card.rows.length

            Column {
                id: output
                required property int index
                readonly property var modelData: card.rows[index] ?? {}
                width: rowsSection.width
                spacing: 8

                OutputVolumeRow {
                    objectName: "volumeRow" + output.index
                    width: parent.width
                    name: output.modelData.name
                    volume: output.modelData.volume
                    onVolumeChosen: (volume) => card.volumeChosen(output.modelData.uid, volume)
                }
                OutputDelayRow {
                    objectName: "delayRow" + output.index
                    width: parent.width
                    visible: card.multiple
                    delayMs: output.modelData.delayMs
                    onDelayChosen: (delayMs) => card.delayChosen(output.modelData.uid, delayMs)
                }
            }
        }

        Text {
            objectName: "bluetoothWarning"
            width: parent.width
            visible: card.multiple && card.tooManyBluetoothOutputs
            wrapMode: Text.WordWrap
            text: "⚠︎ 3+ Bluetooth speakers at once forces Linux to lower every stream's audio "
                  + "quality (radio limit). Two is the sweet spot — deselect one for clean sound."
            font.family: Brand.fontFamily
            font.pixelSize: 9
            font.weight: Font.Medium
            color: Brand.amber
        }
        Text {
            objectName: "syncHelp"
            width: parent.width
            visible: card.multiple
            wrapMode: Text.WordWrap
            text: "Speakers that report their delay sync automatically. For the rest: raise Sync "
                  + "on the speaker that plays FIRST until the echo collapses (remembered)."
            font.family: Brand.fontFamily
            font.pixelSize: 9
            color: Brand.textMuted
            opacity: 0.8
        }
        Item {
            width: parent.width
            height: linkSwitch.height
            visible: card.multiple

            Rectangle {
                id: linkSwitch
                objectName: "linkSwitch"
                width: linkLabel.implicitWidth + 16
                height: linkLabel.implicitHeight + 8
                radius: height / 2
                color: Qt.rgba(1, 1, 1, 0.05)

                Row {
                    id: linkLabel
                    anchors.centerIn: parent
                    spacing: 4
                    readonly property color tint: card.volumesLinked ? Brand.cyan : Brand.textMuted

                    SymbolText {
                        anchors.verticalCenter: parent.verticalCenter
                        symbol: card.volumesLinked ? "link" : "link.slash"
                        size: 10
                        color: linkLabel.tint
                    }
                    Text {
                        objectName: "linkText"
                        anchors.verticalCenter: parent.verticalCenter
                        text: card.volumesLinked ? "Linked" : "Independent"
                        font.family: Brand.fontFamily
                        font.pixelSize: 10
                        font.weight: Font.Medium
                        color: linkLabel.tint
                    }
                }
                MouseArea {
                    anchors.fill: parent
                    cursorShape: Qt.PointingHandCursor
                    onClicked: card.linkToggled()
                }
            }
        }
    }
}
