import QtQuick

// A small footer control: icon and title in one row on a faint fill with a hairline border.
Item {
    id: button

    property string symbol
    property string title
    // Drawn a little brighter while what it opens is showing.
    property bool highlighted: false
    signal clicked()

    implicitWidth: content.implicitWidth + 20
    implicitHeight: 28

    Rectangle {
        anchors.fill: parent
        radius: 8
        color: Qt.rgba(1, 1, 1, area.pressed ? 0.12 : (area.containsMouse || button.highlighted ? 0.09 : 0.06))
        border.color: Qt.rgba(1, 1, 1, 0.08)
        border.width: 1
    }

    Row {
        id: content
        anchors.centerIn: parent
        spacing: 8

        SymbolText {
            anchors.verticalCenter: parent.verticalCenter
            symbol: button.symbol
            size: 13
            color: Brand.textSecondary
        }

        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: button.title
            font.family: Brand.fontFamily
            font.pixelSize: 11
            font.weight: Font.Medium
            color: area.containsMouse || button.highlighted ? Brand.textPrimary : Brand.textSecondary
        }
    }

    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: button.clicked()
    }
}
