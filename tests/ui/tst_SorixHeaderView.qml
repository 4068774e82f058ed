import QtQuick
import QtTest
import Sorix.Ui

Item {
    id: root
    width: 384
    height: 100

    Component {
        id: headerComponent
        SorixHeaderView {
            width: 352
        }
    }

    TestCase {
        name: "SorixHeaderView"
        when: windowShown

        SignalSpy {
            id: switchSpy
            signalName: "switchToggled"
        }

        function init() {
            switchSpy.clear()
        }

        function test_theStateWordAndTheSwitchFollowIsOn_data() {
            return [{tag: "on", isOn: true, word: "ON", colour: Brand.textSecondary},
                    {tag: "off", isOn: false, word: "OFF", colour: Brand.textMuted}]
        }

        function test_theStateWordAndTheSwitchFollowIsOn(data) {
            const header = createTemporaryObject(headerComponent, root, {isOn: data.isOn})
            const word = findChild(header, "stateText")
            compare(word.text, data.word)
            verify(Qt.colorEqual(word.color, data.colour), "colour " + word.color)
            compare(findChild(header, "masterSwitch").isOn, data.isOn)
        }

        function test_theSwitchAsksForTheOtherState_data() {
            return [{tag: "on", isOn: true}, {tag: "off", isOn: false}]
        }

        function test_theSwitchAsksForTheOtherState(data) {
            const header = createTemporaryObject(headerComponent, root, {isOn: data.isOn})
            switchSpy.target = header
            mouseClick(findChild(header, "masterSwitch"))
            compare(switchSpy.count, 1)
            compare(switchSpy.signalArguments[0][0], !data.isOn)
            compare(findChild(header, "stateText").text, data.isOn ? "ON" : "OFF",
                    "the header waits for the engine, it does not flip itself")
        }

        // The switch sits at the row's right end, inside the 2-point padding.
        function test_theSwitchIsAtTheRightEnd() {
            const header = createTemporaryObject(headerComponent, root, {isOn: true})
            const toggle = findChild(header, "masterSwitch")
            const right = toggle.mapToItem(header, toggle.width, 0).x
            fuzzyCompare(right, header.width - 2, 0.5)
        }
    }
}
