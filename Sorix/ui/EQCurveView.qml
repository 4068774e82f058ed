import QtQuick
import Sorix.Panel

// The equaliser's response to the shown gains, 20 Hz to 20 kHz, as the engine computes it. A
// change of gains glides from the old curve to the new one rather than jumping.
Item {
    id: root

    property var gains: [0, 0, 0, 0, 0, 0]

    // The engine's response in dB, lowest frequency first.
    readonly property var curve: PanelRules.responseCurve(gains)
    // What is drawn right now, in dB: on the way from the previous curve to `curve`, each point
    // held to the scale, so that a boost beyond it runs along the edge rather than off the view.
    readonly property var shownPoints: blend(startPoints, endPoints, progress)

    readonly property real scaleDB: PanelRules.curveScaleDB
    // How far the edge of the scale stays from the top and bottom, so that the stroke's round
    // caps are not cut off.
    readonly property real edgeInset: 6

    property var startPoints: []
    property var endPoints: []
    // 0 right after a change, 1 once the new curve is drawn.
    property real progress: 1
    property bool ready: false

    function held(points) {
        return points.map(d => Math.max(-scaleDB, Math.min(scaleDB, d)))
    }

    function blend(a, b, t) {
        if (t >= 1 || a.length !== b.length) return b
        return b.map((d, i) => a[i] + (d - a[i]) * t)
    }

    function yOf(d) {
        return height / 2 - (height / 2 - edgeInset) * d / scaleDB
    }

    onCurveChanged: {
        if (!ready) return
        const current = shownPoints
        progress = 0
        startPoints = current
        endPoints = held(curve)
        glide.restart()
    }
    Component.onCompleted: {
        endPoints = held(curve)
        startPoints = endPoints
        ready = true
    }
    onShownPointsChanged: canvas.requestPaint()

    NumberAnimation {
        id: glide
        target: root; property: "progress"
        from: 0; to: 1; duration: 250; easing.type: Easing.InOutQuad
    }

    implicitWidth: 320
    implicitHeight: 88

    Rectangle {
        anchors.fill: parent
        radius: 10
        color: Qt.rgba(1, 1, 1, 0.03)
    }

    Canvas {
        id: canvas
        objectName: "curveCanvas"
        anchors.fill: parent
        onWidthChanged: requestPaint()
        onHeightChanged: requestPaint()

        onPaint: {
            const ctx = getContext("2d")
            const w = width
            const h = height
            ctx.reset()

            // On a whole pixel's middle, so that the hairline stays one pixel thin.
            const zero = Math.floor(h / 2) + 0.5
            ctx.save()
            ctx.strokeStyle = Qt.rgba(1, 1, 1, 0.1)
            ctx.lineWidth = 1
            ctx.setLineDash([3, 4])
            ctx.beginPath()
            ctx.moveTo(0, zero)
            ctx.lineTo(w, zero)
            ctx.stroke()
            ctx.restore()

            const points = root.shownPoints
            if (points.length < 2) return
            const last = points.length - 1
            ctx.beginPath()
            ctx.moveTo(0, root.yOf(points[0]))
            for (let i = 1; i <= last; ++i)
                ctx.lineTo(i / last * w, root.yOf(points[i]))

            ctx.save()
            ctx.lineTo(w, h / 2)
            ctx.lineTo(0, h / 2)
            ctx.closePath()
            const fill = ctx.createLinearGradient(0, 0, 0, h)
            fill.addColorStop(0, Qt.rgba(77 / 255, 162 / 255, 1, 0.22))
            fill.addColorStop(1, Qt.rgba(77 / 255, 162 / 255, 1, 0))
            ctx.fillStyle = fill
            ctx.fill()
            ctx.restore()

            // The fill closed the path along the zero line; the stroke follows the curve alone.
            ctx.beginPath()
            ctx.moveTo(0, root.yOf(points[0]))
            for (let j = 1; j <= last; ++j)
                ctx.lineTo(j / last * w, root.yOf(points[j]))
            const stroke = ctx.createLinearGradient(0, 0, w, 0)
            stroke.addColorStop(0, Brand.cyan)
            stroke.addColorStop(0.5, Brand.blue)
            stroke.addColorStop(1, Brand.purple)
            ctx.strokeStyle = stroke
            ctx.lineWidth = 2
            ctx.lineCap = "round"
            ctx.lineJoin = "round"
            ctx.stroke()
        }
    }

    Repeater {
        model: [{hz: 100, text: "100"}, {hz: 1000, text: "1K"}, {hz: 10000, text: "10K"}]
        Text {
            required property int index
            required property var modelData
            objectName: "curveLabel" + index
            x: PanelRules.curvePosition(modelData.hz) * root.width - width / 2
            y: root.height - height - 3
            text: modelData.text
            font.family: Brand.fontFamily
            font.pixelSize: 9
            font.weight: Font.Medium
            color: Brand.textMuted
        }
    }
}
