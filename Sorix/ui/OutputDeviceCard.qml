import QtQuick

// The output card: what plays, and a click on its header to choose.
Rectangle {
    id: card

    // The header's texts and whether several outputs play.
    property string title: "System Output"
    property string subtitle: ""
    property bool severalOutputs: false

    signal headerClicked()

    implicitWidth: 352
    implicitHeight: header.height
    radius: 18
    color: Brand.deepPanel
    border.color: Brand.border
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
    }
}
