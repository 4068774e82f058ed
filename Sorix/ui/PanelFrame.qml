import QtQuick
import Sorix.Panel

// The panel's window content on a desktop: the popover, with round corners and a soft shadow
// around it where the desktop draws transparency (the window is then larger by the shadow's
// margin), square and edge to edge where it does not.
Item {
    id: frame

    required property PanelState panel
    required property EngineAdaptor engine
    required property DesktopActions desktop
    property OutputMenuAdaptor outputMenu: null
    property bool shown: true
    property bool compositing: false

    readonly property int margin: compositing ? 18 : 0

    width: popover.width + 2 * margin
    height: popover.height + 2 * margin

    // Layers of faint rounded rectangles make a blur-free shadow that every renderer draws.
    Repeater {
        model: frame.compositing ? 9 : 0
        Rectangle {
            required property int index
            x: frame.margin - (9 - index) * 2 + 1
            y: frame.margin - (9 - index) * 2 + 5
            width: popover.width + 2 * ((9 - index) * 2) - 2
            height: popover.height + 2 * ((9 - index) * 2) - 2
            radius: 16 + (9 - index) * 2
            color: Qt.rgba(0, 0, 0, 0.045)
        }
    }

    SorixPopoverView {
        id: popover
        x: frame.margin
        y: frame.margin
        panel: frame.panel
        engine: frame.engine
        desktop: frame.desktop
        outputMenu: frame.outputMenu
        shown: frame.shown
        rounded: frame.compositing
    }
}
