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
            outputMenu: rig.outputMenu
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

        function outputCard() { return findChild(popover, "outputCard") }

        function test_theOutputRowsFollowTheEngineAndReachIt() {
            const card = outputCard()
            tryCompare(card.rows, "length", 1)
            rig.addOutput("dac", "USB DAC", false)
            rig.pin("speakers")
            rig.pin("dac")
            tryCompare(card.rows, "length", 2)
            compare(card.rows.map(row => row.name), ["Speakers", "USB DAC"])
            verify(card.severalOutputs)
            // The rows are laid out, and the card grown to hold them, with the next frame.
            waitForRendering(popover)

            const bar = findChild(findChild(card, "volumeRow1"), "volumeBar")
            mouseClick(bar, bar.width * 0.8, bar.height / 2)
            fuzzyCompare(rig.outputVolume("dac"), 0.8, 1e-6)
            fuzzyCompare(rig.outputVolume("speakers"), 0.8, 1e-6, "linked volumes follow")
            tryCompare(card.rows[1], "volume", rig.outputVolume("dac"))

            mouseClick(findChild(card, "linkSwitch"))
            verify(!rig.volumesLinked())
            const plus = findChild(findChild(card, "delayRow0"), "delayPlus")
            mouseClick(plus)
            compare(rig.outputDelay("speakers"), 10)
            tryCompare(findChild(findChild(card, "delayRow0"), "delayValue"), "text", "10")
        }

        // What the menu lists is the output menu's own test; here where it opens and what a pick
        // does.
        function test_theHeaderOpensTheMenuUnderItAndAPickReachesTheEngine() {
            rig.addOutput("dac", "USB DAC", false)
            const header = findChild(outputCard(), "outputHeader")
            mouseClick(header)
            rig.advance(0)
            const corner = header.mapToGlobal(0, header.height)
            compare(rig.menuPoint(), Qt.point(corner.x, corner.y + 4))

            rig.pickMenuItem(3)
            compare(rig.selection(), ["dac"])
            mouseClick(header)
            rig.advance(0)
            compare(rig.menu().slice(0, 4), ["System Default", "---", "Speakers", "[x] USB DAC"])
            rig.pickMenuItem(0)
            compare(rig.selection(), [])
        }
    }
}
