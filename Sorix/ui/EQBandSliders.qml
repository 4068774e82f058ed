import QtQuick
import QtQuick.Shapes
import Sorix.Panel

// The six band sliders of the custom equaliser: each column shows the band's gain, a vertical
// slider and the band's name. Like the boost slider it only reports what the pointer chose; the
// owner stores the gains and binds them back.
Item {
    id: root

    // Band gains in dB, lowest band first; a missing entry reads as 0.
    property var gains: [0, 0, 0, 0, 0, 0]
    property real maxGain: PanelRules.maxBandGain

    // The whole set of six gains with the dragged band's new value in place, so that the owner
    // can store it as it is.
    signal gainsEdited(var gains)

    readonly property int bandCount: PanelRules.bandLabels.length
    readonly property real sliderHeight: 78
    readonly property real knobSize: 12

    function gainOf(index) {
        const gain = Number(root.gains[index])
        return isNaN(gain) ? 0 : gain
    }

    function edit(index, gain) {
        const next = []
        for (let i = 0; i < root.bandCount; ++i)
            next.push(i === index ? gain : gainOf(i))
        root.gainsEdited(next)
    }

    implicitWidth: 320
    implicitHeight: bands.implicitHeight

    Row {
        id: bands
        width: parent.width

        Repeater {
            model: root.bandCount

            Column {
                id: band
                required property int index
                readonly property real gain: root.gainOf(index)
                // Where the gain sits between the bottom (0) and the top (1) of the scale.
                readonly property real position: root.maxGain > 0
                    ? Math.max(0, Math.min(1, (gain + root.maxGain) / (2 * root.maxGain))) : 0.5

                width: bands.width / root.bandCount
                spacing: 5

                Text {
                    objectName: "bandValue" + band.index
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    text: PanelRules.gainText(band.gain)
                    font.family: Brand.fontFamily
                    font.pixelSize: 9
                    font.weight: Font.Medium
                    color: band.gain === 0 ? Brand.textMuted : Brand.textSecondary
                }

                Item {
                    id: slider
                    objectName: "bandSlider" + band.index
                    width: parent.width
                    height: root.sliderHeight
                    // The knob stays whole inside the slider, so its centre travels half a knob
                    // short of either end.
                    readonly property real travel: height - root.knobSize
                    readonly property real knobCentre: height / 2 - travel * (band.position - 0.5)

                    Rectangle {
                        anchors.horizontalCenter: parent.horizontalCenter
                        width: 4
                        height: parent.height
                        radius: 2
                        color: Qt.rgba(1, 1, 1, 0.08)
                    }

                    Rectangle {
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: Math.round(parent.height / 2)
                        width: 10
                        height: 1
                        color: Qt.rgba(1, 1, 1, 0.18)
                    }

                    Rectangle {
                        objectName: "bandFill" + band.index
                        readonly property real length: slider.travel * Math.abs(band.position - 0.5)
                        visible: length > 0
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: band.position >= 0.5 ? slider.height / 2 - length : slider.height / 2
                        width: 4
                        height: length
                        radius: 2
                        gradient: Brand.purpleToggle
                    }

                    // A soft shadow under the knob, drawn as a radial fade so that the software
                    // renderer shows it too.
                    Shape {
                        id: shade
                        readonly property real blur: 2
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: slider.knobCentre - height / 2 + 1
                        width: root.knobSize + 2 * blur
                        height: width
                        ShapePath {
                            strokeWidth: -1
                            fillGradient: RadialGradient {
                                centerX: shade.width / 2; centerY: shade.height / 2
                                focalX: centerX; focalY: centerY
                                centerRadius: shade.width / 2
                                GradientStop { position: 0.0; color: Qt.rgba(0, 0, 0, 0.4) }
                                GradientStop { position: 0.6; color: Qt.rgba(0, 0, 0, 0.4) }
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
                        objectName: "bandKnob" + band.index
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: slider.knobCentre - height / 2
                        width: root.knobSize
                        height: width
                        radius: width / 2
                        color: "white"
                    }

                    // The press itself chooses, as on the boost slider; the whole column width
                    // is the slider, so a narrow track is still easy to hit. A drag emits only
                    // when it reaches another half-dB step, so the owner does not store the same
                    // setting again for every pixel the pointer moves.
                    MouseArea {
                        anchors.fill: parent
                        preventStealing: true
                        cursorShape: Qt.PointingHandCursor
                        property real lastGain: NaN

                        onPressed: (mouse) => {
                            lastGain = PanelRules.bandGainAt(mouse.y, slider.height, root.maxGain)
                            root.edit(band.index, lastGain)
                        }
                        onPositionChanged: (mouse) => {
                            const gain = PanelRules.bandGainAt(mouse.y, slider.height, root.maxGain)
                            if (gain === lastGain) return
                            lastGain = gain
                            root.edit(band.index, gain)
                        }
                    }
                }

                Text {
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    text: PanelRules.bandLabels[band.index]
                    font.family: Brand.fontFamily
                    font.pixelSize: 9
                    font.weight: Font.Medium
                    color: Brand.textMuted
                }
            }
        }
    }
}
