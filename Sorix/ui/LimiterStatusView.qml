import QtQuick

// The limiter row under the boost card's slider: what Safe Mode does to the boost right now, and
// the way to switch it. The whole row is the button.
Rectangle {
    id: root

    property bool safeMode: true
    property string title
    property string subtitle
    // Amber when the user's boost is not protected as usual; else the calm Safe Mode cyan.
    property bool warns: false

    signal toggled()

    readonly property color stateColour: warns ? Brand.amber : Brand.safeCyan

    implicitWidth: 320
    implicitHeight: 52
    radius: 12
    color: Qt.rgba(Brand.surfaceElevated.r, Brand.surfaceElevated.g, Brand.surfaceElevated.b, 0.8)
    border.width: 1
    border.color: Qt.rgba(stateColour.r, stateColour.g, stateColour.b, 0.18)

    // A faint light under the pointer says the row is a button.
    Rectangle {
        anchors.fill: parent
        radius: parent.radius
        color: "white"
        opacity: area.containsMouse ? 0.04 : 0
        Behavior on opacity { NumberAnimation { duration: 150 } }
    }

    Row {
        id: row
        anchors.left: parent.left
        anchors.leftMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 10

        SymbolText {
            id: shield
            objectName: "shield"
            anchors.verticalCenter: parent.verticalCenter
            symbol: root.safeMode ? "shield.fill" : "shield.slash.fill"
            size: 17
            color: root.stateColour
        }

        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 2
            // Leaves room for the chevron, so a long line elides rather than running under it.
            width: chevron.x - 10 - row.x - shield.width - row.spacing

            Text {
                objectName: "limiterTitle"
                width: parent.width
                text: root.title
                elide: Text.ElideRight
                font.family: Brand.fontFamily
                font.pixelSize: 12
                font.weight: Font.DemiBold
                color: root.stateColour
            }
            Text {
                objectName: "limiterSubtitle"
                width: parent.width
                text: root.subtitle
                elide: Text.ElideRight
                font.family: Brand.fontFamily
                // Pixel sizes are whole; at 10 the longest line still clears the chevron.
                font.pixelSize: 10
                color: Brand.textSecondary
            }
        }
    }

    SymbolText {
        id: chevron
        anchors.right: parent.right
        // The icon font's chevron fills only the left two thirds of a square half its height,
        // so it is drawn larger and moved out to look like an 11-point chevron at the padding.
        anchors.rightMargin: 12 - width / 3
        anchors.verticalCenter: parent.verticalCenter
        symbol: "chevron.right"
        size: 18
        font.weight: Font.DemiBold
        color: Brand.textMuted
    }

    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: root.toggled()
    }
}
