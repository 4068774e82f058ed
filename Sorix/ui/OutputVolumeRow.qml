import QtQuick
import Sorix.Panel

// One output's volume: its name, a level bar to drag and the whole percent. It only reports
// the value a drag chose; the owner sets the output's volume and binds it back.
Item {
    id: row

    property string name: "Volume"
    property real volume: 1

    signal volumeChosen(real volume)

    implicitWidth: 320
    implicitHeight: 16

    Text {
        id: label
        objectName: "volumeName"
        width: 110
        anchors.verticalCenter: parent.verticalCenter
        text: row.name
        elide: Text.ElideRight
        font.family: Brand.fontFamily
        font.pixelSize: 11
        color: Brand.textSecondary
    }

    Item {
        id: bar
        objectName: "volumeBar"
        anchors.left: label.right
        anchors.leftMargin: 10
        anchors.right: value.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        height: 14

        readonly property real position: Math.max(0, Math.min(1, row.volume)) * width

        Rectangle {
            width: parent.width
            height: 4
            radius: 2
            anchors.verticalCenter: parent.verticalCenter
            color: Qt.rgba(1, 1, 1, 0.1)
        }
        Rectangle {
            objectName: "volumeFill"
            width: bar.position
            height: 4
            radius: 2
            anchors.verticalCenter: parent.verticalCenter
            gradient: Brand.purpleToggle
        }
        // A soft dark ring under the knob stands in for its shadow.
        Rectangle {
            x: bar.position - width / 2
            y: (parent.height - height) / 2 + 1
            width: 13
            height: 13
            radius: 6.5
            color: Qt.rgba(0, 0, 0, 0.35)
        }
        Rectangle {
            objectName: "volumeKnob"
            x: bar.position - width / 2
            anchors.verticalCenter: parent.verticalCenter
            width: 11
            height: 11
            radius: 5.5
            color: "white"
        }
        MouseArea {
            anchors.fill: parent
            preventStealing: true
            cursorShape: Qt.PointingHandCursor
            onPressed: (mouse) => row.volumeChosen(PanelRules.volumeAt(mouse.x, width))
            onPositionChanged: (mouse) => row.volumeChosen(PanelRules.volumeAt(mouse.x, width))
        }
    }

    Text {
        id: value
        objectName: "volumeValue"
        width: 32
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        horizontalAlignment: Text.AlignRight
        text: PanelRules.volumeText(row.volume)
        font.family: Brand.fontFamily
        font.pixelSize: 10
        font.weight: Font.Medium
        color: Brand.textMuted
    }
}
