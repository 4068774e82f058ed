import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "EQCurveView"
    when: windowShown
    visible: true
    width: 400
    height: 200

    // The grabbed image shows the window behind the view; on black, the stroke stands out.
    Rectangle { anchors.fill: parent; color: "black" }

    readonly property var flat: [0, 0, 0, 0, 0, 0]
    readonly property var bass: [10, 6, 0, -2, -1, 0]
    readonly property var deepCut: [-12, -12, 0, 0, 0, 0]

    Component {
        id: curveComponent
        EQCurveView { x: 20; y: 20; width: 320; height: 88 }
    }

    function makeCurve(gains) {
        return createTemporaryObject(curveComponent, this, {gains: gains})
    }

    function test_theCurveIsTheEnginesResponseHeldToTheScale() {
        const view = makeCurve(bass)
        const curve = view.curve
        const shown = view.shownPoints
        compare(curve.length, 64)
        compare(shown.length, 64)
        // The engine's bass preset lifts 20 Hz by about 10 dB and leaves 20 kHz alone.
        fuzzyCompare(curve[0], 10, 0.2)
        fuzzyCompare(curve[63], 0, 0.1)
        compare(shown[0], 9, "beyond the scale, the curve runs along its edge")
        fuzzyCompare(shown[63], 0, 0.1)
        for (let i = 0; i < 64; ++i) {
            verify(Math.abs(shown[i]) <= 9, "point " + i + " off the scale: " + shown[i])
            if (Math.abs(curve[i]) < 9)
                compare(shown[i], curve[i], "point " + i + " inside the scale is drawn as it is")
        }
    }

    function test_noGainsLieOnTheZeroLine() {
        compare(makeCurve([]).shownPoints, new Array(64).fill(0))
    }

    // A change glides from the curve on screen to the new one; the first curve simply appears.
    function test_aChangeGlidesToTheNewCurve() {
        const view = makeCurve(flat)
        compare(view.progress, 1)
        view.gains = bass
        verify(view.progress < 1)
        verify(view.shownPoints[0] < 9, "still near the old curve: " + view.shownPoints[0])
        tryCompare(view, "progress", 1, 1000)
        compare(view.shownPoints[0], 9)
    }

    // A second change before the first has settled starts from what is on screen, so the curve
    // never jumps to the first change's end.
    function test_aChangeDuringAGlideStartsFromTheCurveOnScreen() {
        const view = makeCurve(flat)
        view.gains = bass
        const onScreen = view.shownPoints[0]
        view.gains = flat
        fuzzyCompare(view.shownPoints[0], onScreen, 0.001)
        tryCompare(view, "progress", 1, 1000)
        compare(view.shownPoints[0], 0)
    }

    // The row in column x where the stroke (the greenest pixels: it starts teal) is drawn.
    function strokeRowAt(image, x, height) {
        let best = -1
        let bestGreen = 0
        for (let y = 0; y < height; ++y) {
            const c = image.pixel(x, y)
            if (c.g > bestGreen) { bestGreen = c.g; best = y }
        }
        return best
    }

    // The scale's edges stay 6 pixels inside the view, so the 2-pixel stroke is never cut off.
    function test_theStrokeIsDrawnWhereTheCurveLies_data() {
        return [
            {tag: "flat, on the middle", gains: flat, row: 44},
            {tag: "bass held at the top edge", gains: bass, row: 6},
            {tag: "a deep cut held at the bottom edge", gains: deepCut, row: 88 - 6},
        ]
    }

    function test_theStrokeIsDrawnWhereTheCurveLies(data) {
        const view = makeCurve(data.gains)
        waitForRendering(view)
        const image = grabImage(view)
        const row = strokeRowAt(image, 4, view.height)
        verify(Math.abs(row - data.row) <= 1.5, "the stroke at 20 Hz lies on row " + row)
    }

    // The axis is logarithmic from 20 Hz to 20 kHz: f lies ln(f / 20) / ln(1000) across.
    function test_frequencyLabelsStandAtTheirFrequencies() {
        const view = makeCurve(flat)
        const hz = [100, 1000, 10000]
        for (let i = 0; i < hz.length; ++i) {
            const label = findChild(view, "curveLabel" + i)
            fuzzyCompare(label.x + label.width / 2, Math.log(hz[i] / 20) / Math.log(1000) * 320,
                         0.01)
        }
    }
}
