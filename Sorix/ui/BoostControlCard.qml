import QtQuick
import QtQuick.Layouts
import QtQuick.Shapes

// The panel's main card: the boost as a large percentage, the slider that sets it, the way to the
// equaliser and the Safe Mode row. Everything it shows arrives ready-made from the panel state.
Item {
    id: root

    property string percentText: "100"
    property string subtitle
    property bool subtitleWarns: false
    property real boostValue: 1
    property real sliderCap: 0
    property string presetTitle
    property bool presetIsFlat: true
    property bool safeMode: true
    property string limiterTitle
    property string limiterSubtitle
    property bool limiterWarns: false

    signal boostChosen(real value)
    signal openEQ()
    signal toggleSafeMode()

    implicitWidth: 352
    implicitHeight: column.implicitHeight + 2 * 16

    Rectangle {
        anchors.fill: parent
        radius: 18
        color: Brand.deepPanel
    }

    // The purple light from the top; inset by the border so it never tints the rounded edge.
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
                GradientStop { position: 0.0; color: Qt.rgba(Brand.purple.r, Brand.purple.g, Brand.purple.b, 0.1) }
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

    ColumnLayout {
        id: column
        x: 16; y: 16
        width: parent.width - 32
        spacing: 11

        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "BOOST"
            font.family: Brand.fontFamily
            font.pixelSize: 10
            font.weight: Font.DemiBold
            font.letterSpacing: 2.2
            color: Brand.textSecondary
        }

        Item {
            id: percentRow
            Layout.alignment: Qt.AlignHCenter
            implicitWidth: number.width + 3 + percentSign.implicitWidth
            implicitHeight: 64

            // The number's line box, centred in the row; the strips and the "%" hang from it.
            Text {
                id: probe
                visible: false
                text: root.percentText
                font.family: Brand.fontFamily
                font.pixelSize: 64
                font.weight: Font.ExtraLight
            }

            Item {
                id: number
                objectName: "percentNumber"
                // What the number reads, and while it rolls, what it read before.
                readonly property string shown: root.percentText
                property string leaving
                property string settled
                // 0 right after a change, 1 once the new number has rolled in.
                property real progress: 1
                // Rising numbers roll up, falling ones down.
                property int direction: 1
                property bool ready: false
                readonly property real slide: 20

                y: (parent.height - probe.implicitHeight) / 2
                width: probe.implicitWidth
                height: probe.implicitHeight
                Behavior on width { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }

                onShownChanged: {
                    if (!ready) return
                    leaving = settled
                    settled = shown
                    direction = Number(shown) < Number(leaving) ? -1 : 1
                    roll.restart()
                }
                Component.onCompleted: { settled = shown; ready = true }

                NumberAnimation {
                    id: roll
                    target: number; property: "progress"
                    from: 0; to: 1; duration: 200; easing.type: Easing.InOutQuad
                }

                // A vertical fade from full to 0.74 opacity, drawn as thin strips of the text
                // because the software renderer has no shader to mask text with a gradient.
                Repeater {
                    model: Math.ceil(number.height / 4)
                    Item {
                        id: strip
                        required property int index
                        y: index * 4
                        width: number.width
                        height: 4
                        clip: true
                        opacity: 1 - 0.26 * (index + 0.5) / Math.ceil(number.height / 4)

                        Text {
                            x: (number.width - implicitWidth) / 2
                            y: -strip.y + number.direction * (1 - number.progress) * number.slide
                            opacity: number.progress
                            text: number.shown
                            font: probe.font
                            color: Brand.textPrimary
                        }
                        Text {
                            visible: number.progress < 1
                            x: (number.width - implicitWidth) / 2
                            y: -strip.y - number.direction * number.progress * number.slide
                            opacity: 1 - number.progress
                            text: number.leaving
                            font: probe.font
                            color: Brand.textPrimary
                        }
                    }
                }
            }

            Text {
                id: percentSign
                x: number.width + 3
                y: number.y + probe.baselineOffset - baselineOffset
                text: "%"
                font.family: Brand.fontFamily
                font.pixelSize: 24
                font.weight: Font.Light
                color: Brand.textPrimary
            }
        }

        Text {
            objectName: "subtitle"
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: column.width
            text: root.subtitle
            elide: Text.ElideRight
            font.family: Brand.fontFamily
            font.pixelSize: 12
            color: root.subtitleWarns ? Brand.amber : Brand.purple
        }

        GradientBoostSlider {
            objectName: "slider"
            Layout.fillWidth: true
            Layout.topMargin: 2
            value: root.boostValue
            cap: root.sliderCap
            onValueChosen: (value) => root.boostChosen(value)
        }

        Rectangle {
            objectName: "equaliserButton"
            Layout.fillWidth: true
            Layout.topMargin: 4
            implicitHeight: 38
            radius: 11
            color: Qt.rgba(Brand.surfaceElevated.r, Brand.surfaceElevated.g, Brand.surfaceElevated.b, 0.8)
            border.width: 1
            border.color: Qt.rgba(1, 1, 1, 0.08)

            // A faint light under the pointer says the row is a button.
            Rectangle {
                anchors.fill: parent
                radius: parent.radius
                color: "white"
                opacity: eqArea.containsMouse ? 0.04 : 0
                Behavior on opacity { NumberAnimation { duration: 150 } }
            }

            Row {
                anchors.left: parent.left
                anchors.leftMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                spacing: 8
                // The icon font's sliders fill three quarters of their square; at 14 they stand
                // as tall as a 12-point symbol beside the 12-point title.
                SymbolText {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "slider.horizontal.3"
                    size: 14
                    font.weight: Font.DemiBold
                    color: Brand.blue
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Equaliser"
                    font.family: Brand.fontFamily
                    font.pixelSize: 12
                    font.weight: Font.Medium
                    color: Brand.textPrimary
                }
            }

            Row {
                anchors.right: parent.right
                // The icon font's chevron fills only the left two thirds of a square half its
                // height: drawn larger and moved out, it looks like a 10-point one at the padding.
                anchors.rightMargin: 12 - eqChevron.width / 3
                anchors.verticalCenter: parent.verticalCenter
                spacing: 1
                Text {
                    objectName: "presetName"
                    anchors.verticalCenter: parent.verticalCenter
                    text: root.presetTitle
                    font.family: Brand.fontFamily
                    // Pixel sizes are whole: half a pixel under "Equaliser" becomes one.
                    font.pixelSize: 11
                    font.weight: Font.Medium
                    color: root.presetIsFlat ? Brand.textMuted : Brand.cyan
                }
                SymbolText {
                    id: eqChevron
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "chevron.right"
                    size: 16
                    font.weight: Font.DemiBold
                    color: Brand.textMuted
                }
            }

            MouseArea {
                id: eqArea
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: root.openEQ()
            }
        }

        LimiterStatusView {
            objectName: "limiterRow"
            Layout.fillWidth: true
            Layout.topMargin: 2
            safeMode: root.safeMode
            title: root.limiterTitle
            subtitle: root.limiterSubtitle
            warns: root.limiterWarns
            onToggled: root.toggleSafeMode()
        }
    }
}
