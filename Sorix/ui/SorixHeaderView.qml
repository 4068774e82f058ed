import QtQuick
import QtQuick.Layouts

// The panel's top row with the master switch. The switch shows whether the engine really runs,
// not what was last asked of it, so its owner decides what a flip does.
Item {
    id: header

    property bool isOn: false
    signal switchToggled(bool on)

    implicitWidth: 352
    implicitHeight: 50

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 2
        anchors.rightMargin: 2
        spacing: 12

        SorixLogoView {
            Layout.preferredWidth: 50
            Layout.preferredHeight: 50
            Layout.alignment: Qt.AlignVCenter
        }

        Text {
            objectName: "titleText"
            Layout.alignment: Qt.AlignVCenter
            text: "Sorix"
            font.family: Brand.fontFamily
            font.pixelSize: 27
            font.weight: Font.Light
            color: Brand.textPrimary
        }

        Item { Layout.fillWidth: true }

        Text {
            objectName: "stateText"
            Layout.alignment: Qt.AlignVCenter
            text: header.isOn ? "ON" : "OFF"
            font.family: Brand.fontFamily
            font.pixelSize: 11
            font.weight: Font.DemiBold
            font.letterSpacing: 1.2
            color: header.isOn ? Brand.textSecondary : Brand.textMuted
        }

        GradientToggle {
            objectName: "masterSwitch"
            Layout.alignment: Qt.AlignVCenter
            isOn: header.isOn
            onToggled: on => header.switchToggled(on)
        }
    }
}
