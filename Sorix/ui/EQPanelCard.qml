import QtQuick
import QtQuick.Layouts
import QtQuick.Shapes
import Sorix.Panel

// The equaliser card, shown in place of the boost card: the fixed presets, the custom setting,
// the response curve of what is in effect and, for the custom setting only, its band sliders.
// It reports choices and leaves storing them to the owner, which binds them back.
Item {
    id: root

    // The raw value of the preset in effect: "flat", "bass", ... or "custom".
    property string selected: "flat"
    // The user's own six gains, kept while another preset is in effect.
    property var customGains: [0, 0, 0, 0, 0, 0]

    signal select(string rawValue)
    signal customGainsChange(var gains)
    signal back()

    readonly property bool customSelected: selected === "custom"
    readonly property var displayGains: customSelected ? customGains
                                                       : PanelRules.presetGains(selected)
    readonly property int switchDuration: 250

    implicitWidth: 352
    implicitHeight: column.implicitHeight + 2 * 16

    Rectangle {
        anchors.fill: parent
        radius: 18
        color: Brand.deepPanel
    }

    // The purple light from the top, as on the boost card, so that the two cards swap calmly;
    // inset by the border so it never tints the rounded edge.
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
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            Rectangle {
                objectName: "eqBack"
                implicitWidth: 26
                implicitHeight: 26
                radius: 8
                color: Qt.rgba(1, 1, 1, backArea.containsMouse ? 0.1 : 0.06)

                // The icon font's chevron fills only the left two thirds of a square half its
                // height; drawn larger and nudged right, it looks like a 12-point one centred.
                SymbolText {
                    id: backChevron
                    anchors.centerIn: parent
                    anchors.horizontalCenterOffset: width / 12
                    symbol: "chevron.left"
                    size: 18
                    font.weight: Font.DemiBold
                    color: Brand.textPrimary
                }
                MouseArea {
                    id: backArea
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: root.back()
                }
            }

            Text {
                text: "EQUALISER"
                font.family: Brand.fontFamily
                font.pixelSize: 10
                font.weight: Font.DemiBold
                font.letterSpacing: 2.2
                color: Brand.textSecondary
            }

            Item { Layout.fillWidth: true }

            Text {
                objectName: "selectedTitle"
                text: PanelRules.presetTitle(root.selected)
                font.family: Brand.fontFamily
                font.pixelSize: 11
                font.weight: Font.DemiBold
                color: Brand.cyan
            }
        }

        Grid {
            id: grid
            Layout.fillWidth: true
            columns: 3
            spacing: 7
            readonly property real cellWidth: Math.max(10, (width - 2 * spacing) / columns)

            Repeater {
                model: PanelRules.presets

                Item {
                    id: cell
                    required property var modelData
                    readonly property bool chosen: root.selected === modelData.rawValue
                    objectName: "preset_" + modelData.rawValue
                    width: grid.cellWidth
                    height: 56

                    // A soft purple halo under the chosen preset, drawn as rings that fade
                    // outwards so that the software renderer shows it too.
                    Repeater {
                        model: 2
                        Rectangle {
                            required property int index
                            anchors.fill: parent
                            anchors.margins: -(index + 1) * 1.5
                            anchors.topMargin: -(index + 1) * 1.5 + 2
                            radius: 12 + (index + 1) * 1.5
                            color: "transparent"
                            border.width: 1.5
                            border.color: Qt.rgba(Brand.purple.r, Brand.purple.g, Brand.purple.b,
                                                  index === 0 ? 0.22 : 0.08)
                            opacity: cell.chosen ? 1 : 0
                            Behavior on opacity { NumberAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }
                        }
                    }

                    Rectangle {
                        anchors.fill: parent
                        radius: 12
                        color: Qt.rgba(Brand.surfaceElevated.r, Brand.surfaceElevated.g,
                                       Brand.surfaceElevated.b, 0.8)
                    }
                    Rectangle {
                        objectName: "highlight"
                        anchors.fill: parent
                        radius: 12
                        gradient: Brand.purpleToggle
                        opacity: cell.chosen ? 1 : 0
                        Behavior on opacity { NumberAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }
                    }
                    Rectangle {
                        anchors.fill: parent
                        radius: 12
                        color: "white"
                        opacity: presetArea.containsMouse && !cell.chosen ? 0.04 : 0
                        Behavior on opacity { NumberAnimation { duration: 150 } }
                    }
                    Rectangle {
                        anchors.fill: parent
                        radius: 12
                        color: "transparent"
                        border.width: 1
                        border.color: cell.chosen
                            ? Qt.rgba(Brand.purple.r, Brand.purple.g, Brand.purple.b, 0.5)
                            : Qt.rgba(1, 1, 1, 0.07)
                        Behavior on border.color { ColorAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }
                    }

                    Column {
                        anchors.centerIn: parent
                        spacing: 4
                        SymbolText {
                            anchors.horizontalCenter: parent.horizontalCenter
                            symbol: cell.modelData.symbol
                            size: 16
                            color: cell.chosen ? "white" : Brand.textSecondary
                            Behavior on color { ColorAnimation { duration: root.switchDuration } }
                        }
                        Text {
                            anchors.horizontalCenter: parent.horizontalCenter
                            text: cell.modelData.title
                            font.family: Brand.fontFamily
                            // Pixel sizes are whole: half a pixel under the header's title.
                            font.pixelSize: 10
                            font.weight: Font.Medium
                            color: cell.chosen ? "white" : Brand.textSecondary
                            Behavior on color { ColorAnimation { duration: root.switchDuration } }
                        }
                    }

                    MouseArea {
                        id: presetArea
                        anchors.fill: parent
                        hoverEnabled: true
                        cursorShape: Qt.PointingHandCursor
                        onClicked: root.select(cell.modelData.rawValue)
                    }
                }
            }
        }

        Rectangle {
            id: customRow
            objectName: "preset_custom"
            readonly property bool chosen: root.customSelected
            Layout.fillWidth: true
            implicitHeight: 38
            radius: 9
            color: chosen ? Qt.rgba(Brand.purple.r, Brand.purple.g, Brand.purple.b, 0.16)
                          : Qt.rgba(Brand.surfaceElevated.r, Brand.surfaceElevated.g,
                                    Brand.surfaceElevated.b, 0.8)
            border.width: 1
            border.color: chosen ? Qt.rgba(Brand.purple.r, Brand.purple.g, Brand.purple.b, 0.5)
                                 : Qt.rgba(1, 1, 1, 0.07)
            Behavior on color { ColorAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }
            Behavior on border.color { ColorAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }

            Rectangle {
                anchors.fill: parent
                radius: parent.radius
                color: "white"
                opacity: customArea.containsMouse && !customRow.chosen ? 0.04 : 0
                Behavior on opacity { NumberAnimation { duration: 150 } }
            }

            Row {
                anchors.left: parent.left
                anchors.leftMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                spacing: 8
                // The icon font's bars fill three quarters of their square; at 14 they stand as
                // tall as a 12-point symbol.
                SymbolText {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "slider.vertical.3"
                    size: 14
                    font.weight: Font.DemiBold
                    color: customRow.chosen ? Brand.cyan : Brand.blue
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Custom"
                    font.family: Brand.fontFamily
                    font.pixelSize: 11
                    font.weight: Font.Medium
                    color: customRow.chosen ? "white" : Brand.textSecondary
                }
            }

            Text {
                anchors.right: parent.right
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                text: customRow.chosen ? "Drag the bands" : "Your own setting"
                font.family: Brand.fontFamily
                font.pixelSize: 10
                color: Brand.textMuted
            }

            MouseArea {
                id: customArea
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: root.select("custom")
            }
        }

        // The curve and, below it, the sliders, which slide out from under the curve and fade
        // in; the slot grows with them, so the card (and the popover) grows smoothly too.
        Column {
            Layout.fillWidth: true

            EQCurveView {
                objectName: "curve"
                width: parent.width
                height: 88
                gains: root.displayGains
            }

            Item {
                id: sliderSlot
                readonly property real gap: 12
                // 0 while a preset is in effect, 1 for the custom setting.
                property real reveal: root.customSelected ? 1 : 0
                Behavior on reveal { NumberAnimation { duration: root.switchDuration; easing.type: Easing.InOutQuad } }

                width: parent.width
                height: reveal * (gap + sliders.implicitHeight)
                visible: reveal > 0
                clip: true

                EQBandSliders {
                    id: sliders
                    objectName: "bandSliders"
                    width: parent.width
                    y: sliderSlot.gap - (1 - sliderSlot.reveal) * (sliderSlot.gap + implicitHeight)
                    opacity: sliderSlot.reveal
                    // One on its way out takes no more drags.
                    enabled: root.customSelected
                    gains: root.displayGains
                    maxGain: PanelRules.maxBandGain
                    onGainsEdited: (gains) => root.customGainsChange(gains)
                }
            }
        }
    }
}
