import QtQuick
import Sorix.Panel

// The bar logo. Its bars come from the same table the tray icon draws from. The frame's width
// alone sets the scale, from the top-left corner: a frame of another shape gets the logo at its
// width's size, not a squashed one.
Item {
    id: logo

    implicitWidth: 50
    implicitHeight: 50

    readonly property real scaleFactor: width / PanelRules.logoDesignSize

    // Top and bottom colour of each bar, left to right: the outer bars lean to cyan, the tall
    // middle pair carries the purple, mirrored about the centre like the bars themselves.
    readonly property var barColours: [
        [Brand.cyan, Brand.blue],
        [Brand.blue, Brand.purple],
        [Brand.cyan, Brand.purple],
        [Brand.blue, Brand.purple],
        [Brand.blue, Brand.purple],
        [Brand.cyan, Brand.purple],
        [Brand.blue, Brand.purple],
        [Brand.cyan, Brand.blue]
    ]

    Repeater {
        model: PanelRules.logoBars

        Rectangle {
            id: bar
            required property var modelData
            required property int index

            objectName: "logoBar" + index
            x: modelData.x * logo.scaleFactor
            y: modelData.y * logo.scaleFactor
            width: modelData.w * logo.scaleFactor
            height: modelData.h * logo.scaleFactor
            radius: modelData.r * logo.scaleFactor
            antialiasing: true
            gradient: Gradient {
                GradientStop { position: 0.0; color: logo.barColours[bar.index % 8][0] }
                GradientStop { position: 1.0; color: logo.barColours[bar.index % 8][1] }
            }
        }
    }
}
