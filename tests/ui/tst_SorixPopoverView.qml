import QtQuick
import QtTest
import Sorix.Ui

// The whole panel on a real engine (on the fake audio system): the switch drives the engine, the
// content dims while it is off or failed, and the cards follow the panel state.
Item {
    id: root
    width: 400
    height: 1000

    Component {
        id: popoverComponent
        SorixPopoverView {
            panel: rig.panel
            engine: rig.engine
            desktop: rig.desktop
        }
    }

    TestCase {
        name: "SorixPopoverView"
        when: windowShown

        property var popover

        function init() {
            rig.reset()
            popover = createTemporaryObject(popoverComponent, root)
            verify(popover)
        }

        function clickOn(name) {
            const item = findChild(popover, name)
            verify(item, name)
            mouseClick(item)
        }

        function content() { return findChild(popover, "content") }

        function test_theSwitchStartsAndStopsTheEngineAndTheContentDimsWhileItIsOff() {
            tryCompare(content(), "opacity", 0.4)
            compare(findChild(popover, "stateText").text, "OFF")
            clickOn("masterSwitch")
            rig.advance(0)
            compare(rig.state(), "active")
            compare(findChild(popover, "stateText").text, "ON")
            tryCompare(content(), "opacity", 1.0)
            clickOn("masterSwitch")
            compare(rig.state(), "inactive")
            tryCompare(content(), "opacity", 0.4)
        }

        function test_aFailedEngineReadsAsOffThoughTheSwitchWasTurnedOn() {
            rig.breakTheAudioSystem()
            clickOn("masterSwitch")
            compare(rig.state(), "starting")
            compare(findChild(popover, "stateText").text, "ON", "starting counts as on")
            rig.advance(20)
            compare(rig.state(), "failed")
            compare(findChild(popover, "stateText").text, "OFF")
            tryCompare(content(), "opacity", 0.4)
        }

        function test_theCardsFollowTheLimiterRowAndTheEqualiserButton() {
            const boostCard = findChild(popover, "boostCard")
            clickOn("limiterRow")
            tryCompare(boostCard, "visible", false)
            clickOn("keepButton")
            tryCompare(boostCard, "visible", true)
            clickOn("equaliserButton")
            tryCompare(boostCard, "visible", false)
            clickOn("eqBack")
            tryCompare(boostCard, "visible", true)
        }

        function test_aDragOnTheSliderReachesTheEngineAtOnce() {
            clickOn("masterSwitch")
            rig.advance(0)
            const track = findChild(popover, "track")
            mousePress(track, 1, track.height / 2)
            mouseMove(track, track.width + 20, track.height / 2)
            mouseRelease(track, track.width + 20, track.height / 2)
            compare(rig.engineBoost(), 2, "held at 200 % in Safe Mode")
            compare(findChild(popover, "percentNumber").shown, "200")
        }
    }
}
