import QtQuick
import QtTest
import Sorix.Ui

// A panel-sized frame with the footer at its bottom, as in the panel, so the popover has room
// above it and there is panel outside it to click.
Item {
    id: root
    width: 384
    height: 420

    Component {
        id: footerComponent
        FooterControlsView {
            x: 16
            y: 376
            width: 352
            version: "0.1.0"
        }
    }

    TestCase {
        name: "FooterControlsView"
        when: windowShown

        SignalSpy { id: shownSpy; signalName: "settingsShown" }
        SignalSpy { id: loginSpy; signalName: "launchAtLoginToggled" }
        SignalSpy { id: soundSpy; signalName: "soundSettingsRequested" }
        SignalSpy { id: quitSpy; signalName: "quitRequested" }

        function make(properties) {
            const footer = createTemporaryObject(footerComponent, root, properties || {})
            for (const spy of [shownSpy, loginSpy, soundSpy, quitSpy]) {
                spy.clear()
                spy.target = footer
            }
            return footer
        }

        function popover(footer) {
            return findChild(footer, "settingsPopover")
        }

        function openSettings(footer) {
            mouseClick(findChild(footer, "settingsButton"))
            verify(popover(footer).visible, "the popover opened")
        }

        function test_settingsOpensAndClosesThePopoverAndReportsEachOpening() {
            const footer = make()
            verify(!popover(footer).visible)
            openSettings(footer)
            compare(shownSpy.count, 1)
            const card = popover(footer).mapToItem(root, 0, 0)
            verify(card.y + popover(footer).height <= footer.y, "drawn above the footer")

            mouseClick(findChild(footer, "settingsButton"))
            verify(!popover(footer).visible, "a second click closes it")
            compare(shownSpy.count, 1)

            openSettings(footer)
            compare(shownSpy.count, 2, "each opening is reported, so the login status is re-read")
        }

        function test_aClickOutsideClosesItAndAClickOnItDoesNot() {
            const footer = make()
            openSettings(footer)
            const card = popover(footer)
            mouseClick(card, card.width - 10, 20)
            verify(card.visible, "a click on the card's own background keeps it open")
            mouseClick(root, root.width - 10, 10)
            verify(!card.visible, "a click elsewhere in the panel closes it")
            compare(quitSpy.count, 0)
            openSettings(footer)
            mouseClick(findChild(footer, "quitButton"))
            verify(!card.visible)
            compare(quitSpy.count, 0, "the click that closes the popover does nothing else")
        }

        function test_theLoginSwitchShowsTheStatusAndAsksForTheOther_data() {
            return [{tag: "off", launchAtLogin: false}, {tag: "on", launchAtLogin: true}]
        }

        function test_theLoginSwitchShowsTheStatusAndAsksForTheOther(data) {
            const footer = make({launchAtLogin: data.launchAtLogin})
            openSettings(footer)
            const toggle = findChild(footer, "launchAtLoginToggle")
            compare(toggle.isOn, data.launchAtLogin)
            mouseClick(toggle)
            compare(loginSpy.count, 1)
            compare(loginSpy.signalArguments[0][0], !data.launchAtLogin)
            verify(popover(footer).visible, "the popover stays open")
        }

        function test_soundSettingsIsOfferedOnlyWhereAvailable() {
            const footer = make({soundSettingsAvailable: false})
            openSettings(footer)
            verify(!findChild(footer, "soundSettingsButton").visible)
            const shortHeight = popover(footer).height

            footer.soundSettingsAvailable = true
            const button = findChild(footer, "soundSettingsButton")
            verify(button.visible)
            tryVerify(() => popover(footer).height > shortHeight, 1000, "the card grows to hold it")
            mouseClick(button)
            compare(soundSpy.count, 1)
            verify(!popover(footer).visible, "it closes the popover")
        }

        function test_theWaveformFollowsTheFootersEngineAndVisibility() {
            const engine = Qt.createQmlObject(
                "import QtQuick; QtObject { property bool isActive: true; " +
                "function latestOutputPeak() { return 0 } }", root)
            const footer = make({engine: engine, waveformRunning: true})
            const wave = findChild(footer, "footerWaveform")
            verify(wave.ticking)
            footer.waveformRunning = false
            verify(!wave.ticking)
            engine.destroy()
        }
    }
}
