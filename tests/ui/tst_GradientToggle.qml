import QtQuick
import QtTest
import Sorix.Ui

// The switch's items live outside the TestCase: a TestCase is invisible, and so are its children.
Item {
    id: root
    width: 200
    height: 100

    Component {
        id: toggleComponent
        GradientToggle {}
    }

    TestCase {
        name: "GradientToggle"
        when: windowShown

        SignalSpy {
            id: toggledSpy
            signalName: "toggled"
        }

        function init() {
            toggledSpy.clear()
        }

        // Full size and the popover's reduced one. A click asks for the other value and leaves the
        // value to its owner; the knob keeps its 2.5-in-26 inset from whichever end the state puts
        // it at, and travels there rather than jumping.
        function test_aClickAsksForTheOtherValueAndTheKnobFollowsTheValue_data() {
            return [{tag: "48 × 26", width: 48, height: 26},
                    {tag: "reduced", width: 48 * 0.8, height: 26 * 0.8}]
        }

        function test_aClickAsksForTheOtherValueAndTheKnobFollowsTheValue(data) {
            const toggle = createTemporaryObject(toggleComponent, root,
                                                 {isOn: false, width: data.width, height: data.height})
            toggledSpy.target = toggle
            const knob = findChild(toggle, "toggleKnob")
            const inset = 2.5 * data.height / 26
            fuzzyCompare(knob.x, inset, 1e-9)
            fuzzyCompare(knob.y, inset, 1e-9)
            fuzzyCompare(knob.height, data.height - 2 * inset, 1e-9)
            mouseClick(toggle)
            compare(toggledSpy.signalArguments[0][0], true)
            compare(toggle.isOn, false)

            toggle.isOn = true
            verify(knob.x < data.width - inset - knob.width - 0.5, "the knob moves, not jumps")
            tryVerify(() => Math.abs(knob.x + knob.width - (data.width - inset)) < 1e-9, 1000,
                      "the knob rests at the right end when on")
            mouseClick(toggle)
            compare(toggledSpy.count, 2)
            compare(toggledSpy.signalArguments[1][0], false)
            compare(toggle.isOn, true)

            toggle.isOn = false
            tryVerify(() => Math.abs(knob.x - inset) < 1e-9, 1000, "and back at the left when off")
        }
    }
}
