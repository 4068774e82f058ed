import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "BoostControlCard"
    when: windowShown
    visible: true
    width: 400
    height: 400

    Component {
        id: cardComponent
        BoostControlCard {
            width: 352
            percentText: "145"
            subtitle: "System volume boosted beyond 100%"
            boostValue: 1.45
            sliderCap: 2
            presetTitle: "Flat"
            limiterTitle: "Limiter On (Safe Mode)"
            limiterSubtitle: "Peak protection enabled • Tap to unlock 800%"
        }
    }
    Component {
        id: spyComponent
        SignalSpy {}
    }

    function makeCard(properties) {
        return createTemporaryObject(cardComponent, this, properties)
    }

    function spyOn(card, signalName) {
        return createTemporaryObject(spyComponent, this, {target: card, signalName: signalName})
    }

    function verifyColour(actual, expected, what) {
        verify(Qt.colorEqual(actual, expected), what + ": " + actual + " rather than " + expected)
    }

    function test_textsAndTheirWarningColours() {
        const card = makeCard({percentText: "200", subtitle: "Safe Mode is capping 480% to 200%",
                               subtitleWarns: true})
        const subtitle = findChild(card, "subtitle")
        compare(findChild(card, "percentNumber").shown, "200")
        compare(subtitle.text, "Safe Mode is capping 480% to 200%")
        verifyColour(subtitle.color, Brand.amber, "a warning")
        card.subtitleWarns = false
        verifyColour(subtitle.color, Brand.purple, "no warning")
    }

    function test_presetNameIsMutedOnlyWhenFlat() {
        const card = makeCard({presetTitle: "Flat", presetIsFlat: true})
        const name = findChild(card, "presetName")
        compare(name.text, "Flat")
        verifyColour(name.color, Brand.textMuted, "flat")
        card.presetTitle = "Bass"
        card.presetIsFlat = false
        verifyColour(name.color, Brand.cyan, "another preset")
    }

    // The number does not roll when the card appears, only when it changes: up when rising,
    // down when falling, and it settles on the new number alone.
    function test_numberRollsOnlyWhenItChanges() {
        const card = makeCard({percentText: "150"})
        const number = findChild(card, "percentNumber")
        compare(number.progress, 1)

        card.percentText = "200"
        compare(number.leaving, "150")
        compare(number.direction, 1)
        verify(number.progress < 1)
        tryCompare(number, "progress", 1, 1000)
        compare(number.shown, "200")

        card.percentText = "95"
        compare(number.leaving, "200")
        compare(number.direction, -1, "95 is less than 200, though it sorts after it as a text")
        tryCompare(number, "progress", 1, 1000)
    }

    function test_equaliserButtonOpensTheEqualiser() {
        const card = makeCard({})
        const openEQ = spyOn(card, "openEQ")
        const toggle = spyOn(card, "toggleSafeMode")
        const button = findChild(card, "equaliserButton")
        mouseClick(button, 4, button.height / 2)
        mouseClick(button, button.width - 4, button.height / 2)
        compare(openEQ.count, 2)
        compare(toggle.count, 0)
    }

    function test_anywhereOnTheLimiterRowTogglesSafeMode() {
        const card = makeCard({})
        const openEQ = spyOn(card, "openEQ")
        const toggle = spyOn(card, "toggleSafeMode")
        const row = findChild(card, "limiterRow")
        mouseClick(row, 4, row.height / 2)
        mouseClick(row, row.width - 4, row.height - 4)
        compare(toggle.count, 2)
        compare(openEQ.count, 0)
    }

    function test_limiterRowShowsSafeModeAndItsWarning_data() {
        return [
            {tag: "on", safeMode: true, warns: false, symbol: "shield.fill", colour: Brand.safeCyan},
            {tag: "capping", safeMode: true, warns: true, symbol: "shield.fill", colour: Brand.amber},
            {tag: "off", safeMode: false, warns: true, symbol: "shield.slash.fill",
             colour: Brand.amber},
        ]
    }

    function test_limiterRowShowsSafeModeAndItsWarning(data) {
        const card = makeCard({safeMode: data.safeMode, limiterWarns: data.warns,
                               limiterTitle: "Boost Capped — Tap to Unlock"})
        const row = findChild(card, "limiterRow")
        const title = findChild(row, "limiterTitle")
        compare(findChild(row, "shield").symbol, data.symbol)
        compare(title.text, "Boost Capped — Tap to Unlock")
        verifyColour(title.color, data.colour, "title")
        verifyColour(findChild(row, "shield").color, data.colour, "shield")
        verifyColour(row.border.color,
                     Qt.rgba(data.colour.r, data.colour.g, data.colour.b, 0.18), "border")
    }

    function test_capMarkerOnlyWithACap() {
        const card = makeCard({sliderCap: 0})
        const marker = findChild(card, "capMarker")
        verify(!marker.visible)
        card.sliderCap = 2
        verify(marker.visible)
        const slider = findChild(card, "slider")
        fuzzyCompare(marker.x + marker.width / 2, slider.width / 3, 0.01)
    }

    function test_sliderChoiceIsForwarded() {
        const card = makeCard({boostValue: 1.45, sliderCap: 0})
        const chosen = spyOn(card, "boostChosen")
        const track = findChild(card, "track")
        mouseClick(track, track.width / 2, track.height / 2)
        compare(chosen.count, 1)
        compare(chosen.signalArguments[0][0], 2.8)
        compare(card.boostValue, 1.45)
    }
}
