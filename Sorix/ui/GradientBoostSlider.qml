import QtQuick
import QtQuick.Shapes
import Sorix.Panel

// The boost slider: a logarithmic track from 100 % to 800 % with a spectrum fill, the Safe Mode
// cap marker, ticks and a scale. It only reports what the pointer chose; the owner stores the
// value and binds it back, so a refused or capped choice never shows as the thumb's position.
Item {
    id: root

    property real value: 1
    // 0 for none; in Safe Mode the highest value a drag may produce.
    property real cap: 0

    signal valueChosen(real value)

    readonly property real thumbSize: 22
    // The thumb stays whole inside the track, so at the ends it stops half its size short.
    readonly property real thumbCentre: Math.max(thumbSize / 2, Math.min(width - thumbSize / 2,
                                                 width * PanelRules.sliderFraction(value)))

    implicitWidth: 320
    implicitHeight: track.height + ticks.height + labels.height

    Item {
        id: track
        objectName: "track"
        width: parent.width
        height: 22

        Rectangle {
            width: parent.width
            height: 6
            radius: 3
            anchors.verticalCenter: parent.verticalCenter
            color: Qt.rgba(1, 1, 1, 0.12)
        }

        Rectangle {
            objectName: "fill"
            width: root.width * PanelRules.sliderFraction(root.value)
            height: 6
            radius: 3
            anchors.verticalCenter: parent.verticalCenter
            gradient: Brand.spectrum
        }

        Rectangle {
            objectName: "capMarker"
            visible: root.cap > 0
            x: root.width * PanelRules.sliderFraction(root.cap) - width / 2
            width: 2
            height: 14
            radius: 1
            anchors.verticalCenter: parent.verticalCenter
            color: Brand.amber
            opacity: 0.9
        }

        // Soft shadows drawn as radial fades, so that they look the same with or without a GPU
        // (the software renderer draws no shader effects).
        Shape {
            id: glow
            readonly property real blur: 8
            x: root.thumbCentre - width / 2
            width: root.thumbSize + 2 * blur
            height: width
            anchors.verticalCenter: parent.verticalCenter
            ShapePath {
                strokeWidth: -1
                fillGradient: RadialGradient {
                    centerX: glow.width / 2; centerY: glow.height / 2
                    focalX: centerX; focalY: centerY
                    centerRadius: glow.width / 2
                    GradientStop { position: 0.0; color: Qt.alpha(Brand.blue, 0.6) }
                    GradientStop { position: 0.45; color: Qt.alpha(Brand.blue, 0.6) }
                    GradientStop { position: 0.58; color: Qt.alpha(Brand.blue, 0.3) }
                    GradientStop { position: 0.78; color: Qt.alpha(Brand.blue, 0.08) }
                    GradientStop { position: 1.0; color: Qt.alpha(Brand.blue, 0) }
                }
                PathAngleArc {
                    centerX: glow.width / 2; centerY: glow.height / 2
                    radiusX: glow.width / 2; radiusY: glow.height / 2
                    startAngle: 0; sweepAngle: 360
                }
            }
        }

        Shape {
            id: shade
            readonly property real blur: 4
            x: root.thumbCentre - width / 2
            y: (parent.height - height) / 2 + 1.5
            width: root.thumbSize + 2 * blur
            height: width
            ShapePath {
                strokeWidth: -1
                fillGradient: RadialGradient {
                    centerX: shade.width / 2; centerY: shade.height / 2
                    focalX: centerX; focalY: centerY
                    centerRadius: shade.width / 2
                    GradientStop { position: 0.0; color: Qt.rgba(0, 0, 0, 0.45) }
                    GradientStop { position: 0.5; color: Qt.rgba(0, 0, 0, 0.45) }
                    GradientStop { position: 0.73; color: Qt.rgba(0, 0, 0, 0.22) }
                    GradientStop { position: 1.0; color: Qt.rgba(0, 0, 0, 0) }
                }
                PathAngleArc {
                    centerX: shade.width / 2; centerY: shade.height / 2
                    radiusX: shade.width / 2; radiusY: shade.height / 2
                    startAngle: 0; sweepAngle: 360
                }
            }
        }

        Rectangle {
            objectName: "thumb"
            x: root.thumbCentre - width / 2
            width: root.thumbSize
            height: width
            radius: width / 2
            anchors.verticalCenter: parent.verticalCenter
            color: "white"
        }

        // No minimum distance: the press itself chooses, so a click is as good as a drag. The
        // track's last pixel is still short of 800 %, so the area reaches half a thumb past each
        // end and a click just beyond it gives the end of the scale; the pointer is still
        // measured along the track.
        MouseArea {
            id: area
            anchors.fill: parent
            anchors.leftMargin: -root.thumbSize / 2
            anchors.rightMargin: -root.thumbSize / 2
            preventStealing: true
            cursorShape: Qt.PointingHandCursor
            onPressed: (mouse) => choose(mouse)
            onPositionChanged: (mouse) => choose(mouse)

            function choose(mouse) {
                const x = mapToItem(track, mouse.x, mouse.y).x
                root.valueChosen(PanelRules.sliderValue(x / track.width, root.cap))
            }
        }
    }

    // A mark above each scale label, pointing at the value it names.
    Item {
        id: ticks
        anchors.top: track.bottom
        width: parent.width
        height: 6

        Repeater {
            model: [1, 2, 5]
            Rectangle {
                required property real modelData
                x: Math.round(PanelRules.scaleLabelCentre(modelData, root.width) - width / 2)
                y: 1
                width: 1
                height: 4
                color: Qt.rgba(1, 1, 1, 0.22)
            }
        }
    }

    Item {
        id: labels
        anchors.top: ticks.bottom
        width: parent.width
        height: 13

        Repeater {
            model: [1, 2, 5]
            Text {
                required property int index
                required property real modelData
                objectName: "scaleLabel" + index
                text: PanelRules.percentText(modelData) + "%"
                x: PanelRules.scaleLabelCentre(modelData, root.width) - width / 2
                y: 7 - height / 2
                font.family: Brand.fontFamily
                font.pixelSize: 10
                font.weight: Font.Medium
                color: Brand.textMuted
            }
        }
    }
}
