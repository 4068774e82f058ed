import QtQuick

// The equaliser card.
Rectangle {
    id: card

    property string selected: "flat"
    property var customGains: []

    signal select(string rawValue)
    signal customGainsChange(var gains)
    signal back()

    implicitWidth: 352
    implicitHeight: 120
    radius: 18
    color: Brand.deepPanel
    border.color: Brand.border
    border.width: 1

    Row {
        id: backRow
        objectName: "eqBack"
        x: 16
        y: 16
        spacing: 6

        SymbolText {
            symbol: "chevron.left"
            size: 16
            color: Brand.textSecondary
        }
        Text {
            text: "Back"
            font.family: Brand.fontFamily
            font.pixelSize: 12
            font.weight: Font.Medium
            color: Brand.textSecondary
        }
    }
    MouseArea {
        anchors.fill: backRow
        anchors.margins: -6
        cursorShape: Qt.PointingHandCursor
        onClicked: card.back()
    }
    Text {
        anchors.centerIn: parent
        text: "EQUALISER"
        font.family: Brand.fontFamily
        font.pixelSize: 10
        font.weight: Font.DemiBold
        font.letterSpacing: 2.2
        color: Brand.textSecondary
    }
}
