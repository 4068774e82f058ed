import QtQuick
import QtTest
import Sorix.Ui

// The volume and delay rows of the output card: where a press on a bar lands, the steps of the
// buttons, and how the values read.
TestCase {
    name: "OutputRows"
    when: windowShown
    visible: true
    width: 400
    height: 200

    Component {
        id: volumeComponent
        OutputVolumeRow { width: 320 }
    }
    Component {
        id: delayComponent
        OutputDelayRow { width: 320 }
    }
    Component {
        id: spyComponent
        SignalSpy {}
    }

    function make(component, properties, signalName) {
        const row = createTemporaryObject(component, this, properties)
        const spy = createTemporaryObject(spyComponent, this, {target: row, signalName: signalName})
        return {row: row, spy: spy}
    }

    // A press at `fraction` of a bar's width, or beyond it, as the pointer would reach it.
    function pressAt(row, barName, fraction) {
        const bar = findChild(row, barName)
        const x = bar.width * fraction
        mousePress(bar, 1, bar.height / 2)
        mouseMove(bar, x, bar.height / 2)
        mouseRelease(bar, x, bar.height / 2)
    }

    function test_aVolumeDragLandsOnTheNearestTwentieth_data() {
        return [{tag: "3 %", fraction: 0.03, volume: 0.05},
                {tag: "2 %", fraction: 0.02, volume: 0},
                {tag: "57 %", fraction: 0.57, volume: 0.55},
                {tag: "58 %", fraction: 0.58, volume: 0.6},
                {tag: "beyond the right", fraction: 1.3, volume: 1},
                {tag: "beyond the left", fraction: -0.2, volume: 0}]
    }

    function test_aVolumeDragLandsOnTheNearestTwentieth(data) {
        const made = make(volumeComponent, {volume: 0.5}, "volumeChosen")
        pressAt(made.row, "volumeBar", data.fraction)
        fuzzyCompare(made.spy.signalArguments[made.spy.count - 1][0], data.volume, 1e-9)
    }

    function test_theVolumeReadsItsWholePercentAndTheBarFollowsIt() {
        const made = make(volumeComponent, {volume: 0.999, name: "Volume"}, "volumeChosen")
        compare(findChild(made.row, "volumeValue").text, "99%")
        made.row.volume = 0.57
        compare(findChild(made.row, "volumeValue").text, "57%")
        const bar = findChild(made.row, "volumeBar")
        fuzzyCompare(findChild(made.row, "volumeFill").width, bar.width * 0.57, 0.5)
        compare(made.spy.count, 0, "showing a value reports nothing")
    }

    function test_aDelayDragLandsOnTheNearestTenMilliseconds_data() {
        return [{tag: "50.4 %", fraction: 0.504, delay: 760},
                {tag: "50.3 %", fraction: 0.503, delay: 750},
                {tag: "beyond the right", fraction: 1.2, delay: 1500},
                {tag: "beyond the left", fraction: -0.5, delay: 0}]
    }

    function test_aDelayDragLandsOnTheNearestTenMilliseconds(data) {
        const made = make(delayComponent, {delayMs: 100}, "delayChosen")
        pressAt(made.row, "delayBar", data.fraction)
        fuzzyCompare(made.spy.signalArguments[made.spy.count - 1][0], data.delay, 1e-9)
    }

    function test_theButtonsStepTenMillisecondsWithinTheRange_data() {
        return [{tag: "minus at 5", delay: 5, button: "delayMinus", result: 0},
                {tag: "minus at 200", delay: 200, button: "delayMinus", result: 190},
                {tag: "plus at 1495", delay: 1495, button: "delayPlus", result: 1500},
                {tag: "plus at 0", delay: 0, button: "delayPlus", result: 10}]
    }

    function test_theButtonsStepTenMillisecondsWithinTheRange(data) {
        const made = make(delayComponent, {delayMs: data.delay}, "delayChosen")
        mouseClick(findChild(made.row, data.button))
        compare(made.spy.count, 1)
        fuzzyCompare(made.spy.signalArguments[0][0], data.result, 1e-9)
    }

    function test_theDelayReadsOffOrItsWholeMilliseconds() {
        const made = make(delayComponent, {delayMs: 0}, "delayChosen")
        const value = findChild(made.row, "delayValue")
        compare(value.text, "off")
        made.row.delayMs = 42.9
        compare(value.text, "42")
    }
}
