import QtQuick
import QtQuick.Shapes

// The panel's switch. It shows `isOn` and, on a click, asks for the other value: the owner of
// the value decides, so a switch whose change is refused never shows a state nobody holds.
// Every measure follows the height, so a smaller frame draws the same switch at a reduced scale.
Item {
    id: toggle

    property bool isOn: false
    signal toggled(bool on)

    implicitWidth: 48
    implicitHeight: 26

    readonly property real unit: height / 26
    readonly property real inset: 2.5 * unit
    readonly property int duration: 200

    // A soft purple halo that only the lit switch carries: two rings fading outwards.
    Repeater {
        model: 2
        Rectangle {
            required property int index
            anchors.fill: parent
            anchors.margins: -(index + 1) * 1.5 * toggle.unit
            radius: height / 2
            color: "transparent"
            border.width: 1.5 * toggle.unit
            border.color: Qt.rgba(0.545, 0.361, 1, index === 0 ? 0.28 : 0.1)
            opacity: toggle.isOn ? 1 : 0
            Behavior on opacity { NumberAnimation { duration: toggle.duration; easing.type: Easing.InOutQuad } }
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: height / 2
        color: Qt.rgba(1, 1, 1, 0.08)
        border.color: Brand.border
        border.width: 1
    }

    // Cross-fading the lit track keeps the change inside the same 0.2 s as the knob's travel.
    Rectangle {
        anchors.fill: parent
        radius: height / 2
        gradient: Brand.purpleToggle
        opacity: toggle.isOn ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: toggle.duration; easing.type: Easing.InOutQuad } }
    }

    Item {
        id: knob
        objectName: "toggleKnob"
        width: toggle.height - 2 * toggle.inset
        height: width
        y: toggle.inset
        x: toggle.isOn ? toggle.width - toggle.inset - width : toggle.inset
        Behavior on x { NumberAnimation { duration: toggle.duration; easing.type: Easing.InOutQuad } }

        // The shadow is a radial fade rather than a blur, so it looks the same on every
        // scene graph backend, the software one included.
        Shape {
            x: -2 * toggle.unit
            y: -1 * toggle.unit
            width: knob.width + 4 * toggle.unit
            height: width
            ShapePath {
                strokeColor: "transparent"
                fillGradient: RadialGradient {
                    centerX: knob.width / 2 + 2 * toggle.unit
                    centerY: centerX
                    centerRadius: centerX
                    focalX: centerX
                    focalY: centerY
                    GradientStop { position: 0.0; color: Qt.rgba(0, 0, 0, 0.45) }
                    GradientStop { position: 0.7; color: Qt.rgba(0, 0, 0, 0.22) }
                    GradientStop { position: 1.0; color: Qt.rgba(0, 0, 0, 0) }
                }
                startX: 0
                startY: knob.width / 2 + 2 * toggle.unit
                PathArc {
                    x: knob.width + 4 * toggle.unit
                    y: knob.width / 2 + 2 * toggle.unit
                    radiusX: knob.width / 2 + 2 * toggle.unit
                    radiusY: radiusX
                }
                PathArc {
                    x: 0
                    y: knob.width / 2 + 2 * toggle.unit
                    radiusX: knob.width / 2 + 2 * toggle.unit
                    radiusY: radiusX
                }
            }
        }

        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: "white"
        }
    }

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: toggle.toggled(!toggle.isOn)
    }
}
