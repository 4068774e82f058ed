import QtQuick
import QtQuick.Shapes

// Shown in place of the boost card before Safe Mode goes off: the one step that lets the boost
// past 200 % asks first. Keeping Safe Mode is the prominent choice, so that a hasty click is the
// safe one.
Item {
    id: root

    signal disableRequested()
    signal keepRequested()

    implicitWidth: 352
    implicitHeight: content.implicitHeight + 2 * 16

    Rectangle {
        anchors.fill: parent
        radius: 18
        color: Brand.deepPanel
    }

    // A faint warm light from the top; inset by the border so it never tints the rounded edge.
    Shape {
        id: glow
        x: 1; y: 1
        width: parent.width - 2
        height: parent.height - 2
        readonly property real r: 17
        ShapePath {
            strokeWidth: -1
            fillGradient: RadialGradient {
                centerX: glow.width / 2; centerY: 0
                focalX: centerX; focalY: 0
                centerRadius: 260
                GradientStop { position: 0.0; color: Qt.rgba(Brand.amber.r, Brand.amber.g, Brand.amber.b, 0.08) }
                GradientStop { position: 1.0; color: "transparent" }
            }
            startX: glow.r; startY: 0
            PathLine { x: glow.width - glow.r; y: 0 }
            PathArc { x: glow.width; y: glow.r; radiusX: glow.r; radiusY: glow.r }
            PathLine { x: glow.width; y: glow.height - glow.r }
            PathArc { x: glow.width - glow.r; y: glow.height; radiusX: glow.r; radiusY: glow.r }
            PathLine { x: glow.r; y: glow.height }
            PathArc { x: 0; y: glow.height - glow.r; radiusX: glow.r; radiusY: glow.r }
            PathLine { x: 0; y: glow.r }
            PathArc { x: glow.r; y: 0; radiusX: glow.r; radiusY: glow.r }
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: 18
        color: "transparent"
        border.width: 1
        border.color: Brand.border
    }

    Column {
        id: content
        x: 16; y: 16
        width: parent.width - 32
        spacing: 12

        Row {
            spacing: 8
            SymbolText {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "exclamationmark.shield.fill"
                size: 18
                color: Brand.amber
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: "Turn off Safe Mode?"
                font.family: Brand.fontFamily
                font.pixelSize: 14
                font.weight: Font.DemiBold
                color: Brand.textPrimary
            }
        }

        Text {
            width: parent.width
            text: "Boost will go up to 800%. Loud levels — especially on headphones — can damage"
                  + " hearing. The peak limiter stays on to prevent distortion; loudness is on you."
            wrapMode: Text.WordWrap
            lineHeight: 1.2
            font.family: Brand.fontFamily
            font.pixelSize: 12
            color: Brand.textSecondary
        }

        Row {
            id: buttons
            spacing: 10
            readonly property real buttonWidth: (content.width - spacing) / 2

            Rectangle {
                objectName: "unlockButton"
                width: buttons.buttonWidth
                height: unlockText.implicitHeight + 2 * 9
                radius: 10
                color: Qt.rgba(Brand.amber.r, Brand.amber.g, Brand.amber.b,
                               unlockArea.containsMouse ? 0.16 : 0.1)
                border.width: 1
                border.color: Qt.rgba(Brand.amber.r, Brand.amber.g, Brand.amber.b, 0.3)

                Text {
                    id: unlockText
                    anchors.centerIn: parent
                    text: "Unlock 800%"
                    font.family: Brand.fontFamily
                    font.pixelSize: 12
                    font.weight: Font.Medium
                    color: Brand.amber
                }
                MouseArea {
                    id: unlockArea
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: root.disableRequested()
                }
            }

            Rectangle {
                objectName: "keepButton"
                width: buttons.buttonWidth
                height: keepText.implicitHeight + 2 * 9
                radius: 10
                gradient: Brand.purpleToggle
                opacity: keepArea.containsMouse ? 0.9 : 1

                Text {
                    id: keepText
                    anchors.centerIn: parent
                    text: "Keep Safe Mode"
                    font.family: Brand.fontFamily
                    font.pixelSize: 12
                    font.weight: Font.DemiBold
                    color: "white"
                }
                MouseArea {
                    id: keepArea
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: root.keepRequested()
                }
            }
        }
    }
}
