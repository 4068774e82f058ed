import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "EQBandSliders"
    when: windowShown
    visible: true
    width: 400
    height: 200

    Component {
        id: slidersComponent
        EQBandSliders { x: 20; y: 20; width: 300; gains: [1, 2, 3, 4, 5, 6] }
    }
    Component {
        id: spyComponent
        SignalSpy { signalName: "gainsEdited" }
    }

    function makeSliders(properties) {
        const sliders = createTemporaryObject(slidersComponent, this, properties)
        const spy = createTemporaryObject(spyComponent, this, {target: sliders})
        return {sliders: sliders, spy: spy}
    }

    // Stores each edit back into the view, as the card's owner does.
    function makeOwnedSliders(properties) {
        const made = makeSliders(properties)
        made.sliders.gainsEdited.connect(gains => made.sliders.gains = gains)
        return made
    }

    function edited(spy) {
        const sets = []
        for (let i = 0; i < spy.count; ++i)
            sets.push(spy.signalArguments[i][0])
        return sets
    }

    function slider(sliders, band) { return findChild(sliders, "bandSlider" + band) }

    // y as a fraction of the slider's own height, from its top.
    function test_aPressSetsTheBandFromThePointer_data() {
        return [
            {tag: "at the very top", at: 0, gain: 12, text: "+12"},
            {tag: "at 36 %, into the next half dB", at: 0.36, gain: 3.5, text: "+4"},
            {tag: "at 37 %", at: 0.37, gain: 3, text: "+3"},
            {tag: "in the middle", at: 0.5, gain: 0, text: "+0"},
            {tag: "three quarters down", at: 0.75, gain: -6, text: "-6"},
            {tag: "at the top of a ±6 dB range", maxGain: 6, at: 0, gain: 6, text: "+6"},
            {tag: "at 37 % of a ±6 dB range", maxGain: 6, at: 0.37, gain: 1.5, text: "+2"},
        ]
    }

    function test_aPressSetsTheBandFromThePointer(data) {
        const made = makeOwnedSliders(data.maxGain ? {maxGain: data.maxGain} : {})
        const target = slider(made.sliders, 3)
        mousePress(target, target.width / 2, data.at * target.height)
        mouseRelease(target, target.width / 2, data.at * target.height)
        compare(edited(made.spy), [[1, 2, 3, data.gain, 5, 6]])
        compare(findChild(made.sliders, "bandValue3").text, data.text)
    }

    // Anywhere across the column counts, not only on the thin track.
    function test_thePressNeedNotHitTheTrack() {
        const made = makeSliders({})
        const target = slider(made.sliders, 0)
        mouseClick(target, 2, 0)
        mouseClick(target, target.width - 2, 0)
        compare(edited(made.spy), [[12, 2, 3, 4, 5, 6], [12, 2, 3, 4, 5, 6]])
    }

    function test_aDragPastTheEndsStopsAtTheEnds_data() {
        return [
            {tag: "above the top", beyond: -30, gain: 12},
            {tag: "below the bottom", beyond: 78 + 30, gain: -12},
        ]
    }

    function test_aDragPastTheEndsStopsAtTheEnds(data) {
        const made = makeOwnedSliders({})
        const target = slider(made.sliders, 5)
        const x = target.width / 2
        mousePress(target, x, target.height / 2)
        const step = data.beyond < 0 ? -3 : 3
        for (let y = target.height / 2 + step; step < 0 ? y >= data.beyond : y <= data.beyond; y += step)
            mouseMove(target, x, y, -1, Qt.LeftButton)
        mouseRelease(target, x, data.beyond)

        const gains = edited(made.spy).map(set => set[5])
        compare(gains[gains.length - 1], data.gain)
        verify(gains.length > 10, "every step on the way is reported: " + gains)
        for (let i = 1; i < gains.length; ++i)
            verify(gains[i] !== gains[i - 1], "the same gain twice in a row: " + gains)
    }

    // A pixel of the 78-high slider is a third of a dB: rows 29 and 30 both round to +3.
    function test_movesWithinOneHalfDecibelStepReportNothingNew() {
        const made = makeSliders({})
        const target = slider(made.sliders, 1)
        const x = target.width / 2
        mousePress(target, x, 29)
        mouseMove(target, x, 30, -1, Qt.LeftButton)
        mouseMove(target, x, 29, -1, Qt.LeftButton)
        mouseMove(target, x, 28, -1, Qt.LeftButton)
        mouseRelease(target, x, 28)
        compare(edited(made.spy), [[1, 3, 3, 4, 5, 6], [1, 3.5, 3, 4, 5, 6]])
    }

    // The view shows what its owner binds, not what the pointer chose.
    function test_anUnstoredEditLeavesTheViewAsItWas() {
        const made = makeSliders({})
        mouseClick(slider(made.sliders, 2), 10, 0)
        compare(made.sliders.gains, [1, 2, 3, 4, 5, 6])
        compare(findChild(made.sliders, "bandValue2").text, "+3")
    }

    function test_shortGainsReadAsZero() {
        const made = makeSliders({gains: [4]})
        compare(findChild(made.sliders, "bandValue5").text, "+0")
        mouseClick(slider(made.sliders, 5), 10, 0)
        compare(edited(made.spy), [[4, 0, 0, 0, 0, 12]])
    }

    // The knob stays whole inside the slider; the fill runs from the middle to the knob.
    function test_knobAndFillStandAtTheGain_data() {
        return [
            {tag: "top", gain: 12, knobTop: 0, fillTop: 6, fillBottom: 39},
            {tag: "half way up", gain: 6, knobTop: 16.5, fillTop: 22.5, fillBottom: 39},
            {tag: "zero", gain: 0, knobTop: 33, fillTop: NaN, fillBottom: NaN},
            {tag: "bottom", gain: -12, knobTop: 66, fillTop: 39, fillBottom: 72},
            {tag: "beyond the range, held at the top", gain: 20, knobTop: 0, fillTop: 6,
             fillBottom: 39},
        ]
    }

    function test_knobAndFillStandAtTheGain(data) {
        const made = makeSliders({gains: [data.gain, 0, 0, 0, 0, 0]})
        const knob = findChild(made.sliders, "bandKnob0")
        const fill = findChild(made.sliders, "bandFill0")
        fuzzyCompare(knob.y, data.knobTop, 0.01)
        if (isNaN(data.fillTop)) {
            verify(!fill.visible, "no fill at 0 dB")
        } else {
            verify(fill.visible)
            fuzzyCompare(fill.y, data.fillTop, 0.01)
            fuzzyCompare(fill.y + fill.height, data.fillBottom, 0.01)
        }
    }
}
