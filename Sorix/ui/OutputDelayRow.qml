import QtQuick
import Sorix.Panel

// One output's manual delay ("Sync"): a bar to drag, minus and plus buttons of 10 ms and the
// delay in milliseconds. It only reports the delay chosen; the owner applies it and binds it
// back.
Item {
    id: row

    property real delayMs: 0

    signal delayChosen(real delayMs)

    implicitWidth: 320
    implicitHeight: 16

    Row {
        id: label
        width: 110
        anchors.verticalCenter: parent.verticalCenter
        spacing: 4

        SymbolText {
            anchors.verticalCenter: parent.verticalCenter
            symbol: "clock.arrow.circlepath"
            size: 10
            color: Brand.textMuted
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: "Sync"
            font.family: Brand.fontFamily
            font.pixelSize: 10
            color: Brand.textMuted
        }
    }

    Item {
        id: bar
        objectName: "delayBar"
        anchors.left: label.right
        anchors.right: buttons.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        height: 12

        readonly property real position:
            Math.max(0, Math.min(1, row.delayMs / PanelRules.maxDelayMs)) * width

        Rectangle {
            width: parent.width
            height: 3
            radius: 1.5
            anchors.verticalCenter: parent.verticalCenter
            color: Qt.rgba(1, 1, 1, 0.07)
        }
        Rectangle {
            width: bar.position
            height: 3
            radius: 1.5
            anchors.verticalCenter: parent.verticalCenter
            color: Brand.cyan
            opacity: 0.8
        }
        Rectangle {
            x: bar.position - width / 2
            anchors.verticalCenter: parent.verticalCenter
            width: 9
            height: 9
            radius: 4.5
            color: Qt.rgba(1, 1, 1, 0.9)
        }
        MouseArea {
            anchors.fill: parent
            preventStealing: true
            cursorShape: Qt.PointingHandCursor
            onPressed: (mouse) => row.delayChosen(PanelRules.delayAt(mouse.x, width))
            onPositionChanged: (mouse) => row.delayChosen(PanelRules.delayAt(mouse.x, width))
        }
    }

    Row {
        id: buttons
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        SymbolText {
            objectName: "delayMinus"
            anchors.verticalCenter: parent.verticalCenter
            symbol: "minus.circle.fill"
            size: 12
            color: Brand.textMuted
            MouseArea {
                anchors.fill: parent
                anchors.margins: -3
                cursorShape: Qt.PointingHandCursor
                onClicked: row.delayChosen(PanelRules.delayStepped(row.delayMs, -1))
            }
        }
        Text {
            objectName: "delayValue"
            width: 28
            anchors.verticalCenter: parent.verticalCenter
            horizontalAlignment: Text.AlignHCenter
            text: PanelRules.delayText(row.delayMs)
            font.family: Brand.fontFamily
            font.pixelSize: 10
            font.weight: Font.Medium
            color: row.delayMs > 0 ? Brand.cyan : Brand.textMuted
        }
        SymbolText {
            objectName: "delayPlus"
            anchors.verticalCenter: parent.verticalCenter
            symbol: "plus.circle.fill"
            size: 12
            color: Brand.textMuted
            MouseArea {
                anchors.fill: parent
                anchors.margins: -3
                cursorShape: Qt.PointingHandCursor
                onClicked: row.delayChosen(PanelRules.delayStepped(row.delayMs, 1))
            }
        }
    }
}
