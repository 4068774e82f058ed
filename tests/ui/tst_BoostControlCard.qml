import QtQuick
import QtTest
import Sorix.Ui

// The card's texts arrive ready-made from the panel state; what the card itself decides is how
// the number rolls, where a click goes, and how the limiter row shows Safe Mode.
TestCase {
    name: "BoostControlCard"
    when: windowShown
    visible: true
    width: 400
    height: 400

    Component {
        id: cardComponent
        BoostControlCard { width: 352; limiterTitle: "Limiter On (Safe Mode)" }
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

    // Either end of each row is its button, and sends only that row's signal.
    function test_eachRowIsOneButtonEndToEnd_data() {
        return [
            {tag: "equaliser", row: "equaliserButton", chosen: "openEQ", other: "toggleSafeMode"},
            {tag: "limiter", row: "limiterRow", chosen: "toggleSafeMode", other: "openEQ"},
        ]
    }

    function test_eachRowIsOneButtonEndToEnd(data) {
        const card = makeCard({})
        const chosen = spyOn(card, data.chosen)
        const other = spyOn(card, data.other)
        const row = findChild(card, data.row)
        mouseClick(row, 4, row.height / 2)
        mouseClick(row, row.width - 4, row.height - 4)
        compare(chosen.count, 2)
        compare(other.count, 0)
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
        const card = makeCard({safeMode: data.safeMode, limiterWarns: data.warns})
        const row = findChild(card, "limiterRow")
        compare(findChild(row, "shield").symbol, data.symbol)
        verifyColour(findChild(row, "limiterTitle").color, data.colour, "title")
        verifyColour(findChild(row, "shield").color, data.colour, "shield")
    }
}
