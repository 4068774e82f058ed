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

        function test_aClickAsksForTheOppositeAndLeavesTheValueToItsOwner_data() {
            return [{tag: "off", isOn: false}, {tag: "on", isOn: true}]
        }

        function test_aClickAsksForTheOppositeAndLeavesTheValueToItsOwner(data) {
            const toggle = createTemporaryObject(toggleComponent, root, {isOn: data.isOn})
            toggledSpy.target = toggle
            mouseClick(toggle)
            compare(toggledSpy.count, 1)
            compare(toggledSpy.signalArguments[0][0], !data.isOn)
            compare(toggle.isOn, data.isOn)
        }

        // Full size and the popover's reduced one: the knob keeps its 2.5-in-26 inset from
        // whichever end the state puts it at, and travels there rather than jumping.
        function test_theKnobEndsAtTheEndOfItsState_data() {
            return [{tag: "48 × 26", width: 48, height: 26},
                    {tag: "reduced", width: 48 * 0.8, height: 26 * 0.8}]
        }

        function test_theKnobEndsAtTheEndOfItsState(data) {
            const toggle = createTemporaryObject(toggleComponent, root,
                                                 {isOn: false, width: data.width, height: data.height})
            const knob = findChild(toggle, "toggleKnob")
            const inset = 2.5 * data.height / 26
            fuzzyCompare(knob.x, inset, 1e-9)
            fuzzyCompare(knob.y, inset, 1e-9)
            fuzzyCompare(knob.height, data.height - 2 * inset, 1e-9)

            toggle.isOn = true
            verify(knob.x < data.width - inset - knob.width - 0.5, "the knob moves, not jumps")
            tryVerify(() => Math.abs(knob.x + knob.width - (data.width - inset)) < 1e-9, 1000,
                      "the knob rests at the right end when on")

            toggle.isOn = false
            tryVerify(() => Math.abs(knob.x - inset) < 1e-9, 1000, "and back at the left when off")
        }
    }
}
