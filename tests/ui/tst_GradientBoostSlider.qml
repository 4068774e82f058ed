import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "GradientBoostSlider"
    when: windowShown
    visible: true
    width: 400
    height: 120

    Component {
        id: sliderComponent
        GradientBoostSlider { x: 40; width: 300 }
    }
    Component {
        id: spyComponent
        SignalSpy { signalName: "valueChosen" }
    }

    function makeSlider(properties) {
        const slider = createTemporaryObject(sliderComponent, this, properties)
        const spy = createTemporaryObject(spyComponent, this, {target: slider})
        return {slider: slider, spy: spy, track: findChild(slider, "track")}
    }

    function chosen(spy) {
        const values = []
        for (let i = 0; i < spy.count; ++i)
            values.push(spy.signalArguments[i][0])
        return values
    }

    // x in the 300-wide track's own coordinates.
    function test_pressChoosesTheValueUnderThePointer_data() {
        return [
            {tag: "left of the track", x: -8, cap: 0, value: 1},
            {tag: "middle", x: 150, cap: 0, value: 2.8},
            {tag: "right of the track", x: 308, cap: 0, value: 8},
            {tag: "right of the track in Safe Mode", x: 308, cap: 2, value: 2},
            {tag: "just left of the cap", x: 90, cap: 2, value: 1.85},
            {tag: "just right of the cap", x: 120, cap: 2, value: 2},
            {tag: "there without a cap", x: 120, cap: 0, value: 2.25},
        ]
    }

    function test_pressChoosesTheValueUnderThePointer(data) {
        const made = makeSlider({value: 1.5, cap: data.cap})
        const thumb = findChild(made.slider, "thumb")
        const thumbX = thumb.x
        mousePress(made.track, data.x, made.track.height / 2)
        mouseRelease(made.track, data.x, made.track.height / 2)
        compare(chosen(made.spy), [data.value])
        // Only the owner stores the choice: the view's value and thumb stay where they were bound.
        compare(made.slider.value, 1.5)
        compare(thumb.x, thumbX)
    }

    function test_aPressBeyondTheReachOfTheThumbIsNotTheSlider() {
        const made = makeSlider({})
        mouseClick(made.track, 300 + 13, made.track.height / 2)
        mouseClick(made.track, -13, made.track.height / 2)
        compare(made.spy.count, 0)
    }

    function test_dragRisesStepByStepAndStopsAtTheEnd_data() {
        return [
            {tag: "without a cap", cap: 0, last: 8},
            {tag: "in Safe Mode", cap: 2, last: 2},
        ]
    }

    function test_dragRisesStepByStepAndStopsAtTheEnd(data) {
        const made = makeSlider({cap: data.cap})
        const y = made.track.height / 2
        mousePress(made.track, 0, y)
        // On past the right end: the drag keeps its grab there.
        for (let x = 15; x <= made.track.width + 30; x += 15)
            mouseMove(made.track, x, y, -1, Qt.LeftButton)
        mouseRelease(made.track, made.track.width + 30, y)

        const values = chosen(made.spy)
        verify(values.length > 20, "every move chooses, not only the release: " + values.length)
        compare(values[0], 1)
        compare(values[values.length - 1], data.last)
        for (let i = 1; i < values.length; ++i)
            verify(values[i] >= values[i - 1], "falls at step " + i + ": " + values)
        verify(values.filter(v => v < data.last).length > 5, "rises in steps: " + values)
    }

    // The scale is logarithmic: 200 % a third along, 400 % two thirds; the thumb stays whole
    // inside the track, so near the ends it stops half its width from the edge.
    function test_thumbAndFillStandAtTheValue_data() {
        return [
            {tag: "100 %", value: 1, centre: 11},
            {tag: "105 %, held inside", value: 1.05, centre: 11},
            {tag: "110 %, free", value: 1.1, centre: 13.75},
            {tag: "200 %", value: 2, centre: 100},
            {tag: "800 %", value: 8, centre: 289},
        ]
    }

    function test_thumbAndFillStandAtTheValue(data) {
        const made = makeSlider({value: data.value})
        const thumb = findChild(made.slider, "thumb")
        fuzzyCompare(thumb.x + thumb.width / 2, data.centre, 0.01)
        if (data.value === 2)
            fuzzyCompare(findChild(made.slider, "fill").width, data.centre, 0.01)
    }

    function test_theCapMarkerStandsAtTheCapOnlyWithACap() {
        const made = makeSlider({value: 1, cap: 0})
        const marker = findChild(made.slider, "capMarker")
        verify(!marker.visible)
        made.slider.cap = 2
        verify(marker.visible)
        fuzzyCompare(marker.x + marker.width / 2, 100, 0.01)
    }
}
