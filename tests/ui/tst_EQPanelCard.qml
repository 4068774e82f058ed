import QtQuick
import QtTest
import Sorix.Panel
import Sorix.Ui

TestCase {
    name: "EQPanelCard"
    when: windowShown
    visible: true
    width: 400
    height: 600

    readonly property var stored: [1, -2, 3, -4, 5.5, -6]

    Component {
        id: cardComponent
        EQPanelCard { width: 352 }
    }
    Component {
        id: spyComponent
        SignalSpy {}
    }

    // A card whose choices are stored and bound back, as the popover does, with a spy on its
    // choices and one on its edits.
    function makeCard(properties) {
        const card = createTemporaryObject(cardComponent, this, properties)
        card.select.connect(raw => card.selected = raw)
        card.customGainsChange.connect(gains => card.customGains = gains)
        // The grid and the column settle their layout before the first frame.
        waitForRendering(card)
        return {
            card: card,
            select: spyOn(card, "select"),
            edits: spyOn(card, "customGainsChange"),
        }
    }

    function spyOn(card, signalName) {
        return createTemporaryObject(spyComponent, this, {target: card, signalName: signalName})
    }

    function firstArguments(spy) {
        const args = []
        for (let i = 0; i < spy.count; ++i)
            args.push(spy.signalArguments[i][0])
        return args
    }

    function sliders(card) { return findChild(card, "bandSliders") }
    function curve(card) { return findChild(card, "curve") }
    function highlight(card, raw) { return findChild(findChild(card, "preset_" + raw), "highlight") }

    // The lowest thing the card shows, in the card's coordinates.
    function contentBottom(card) {
        const shown = card.selected === "custom" ? sliders(card) : curve(card)
        return shown.mapToItem(card, 0, shown.height).y
    }

    function test_everyPresetInTheGridChoosesItself() {
        const made = makeCard({selected: "flat"})
        const raws = PanelRules.presets.map(preset => preset.rawValue)
        for (const raw of raws)
            mouseClick(findChild(made.card, "preset_" + raw))
        compare(firstArguments(made.select), raws)
    }

    function test_choosingBassShowsBassAndLeavesTheCustomGainsAlone() {
        const made = makeCard({selected: "custom", customGains: stored})
        tryCompare(sliders(made.card), "opacity", 1)
        mouseClick(findChild(made.card, "preset_bass"))

        compare(firstArguments(made.select), ["bass"])
        tryCompare(highlight(made.card, "bass"), "opacity", 1)
        for (const other of ["flat", "music", "treble", "voice", "movie"])
            tryCompare(highlight(made.card, other), "opacity", 0)
        tryCompare(sliders(made.card), "visible", false)
        // The bass response runs along the top of the curve's scale at 20 Hz.
        tryCompare(curve(made.card), "progress", 1)
        compare(curve(made.card).shownPoints[0], 9)
        compare(made.edits.count, 0)
        compare(made.card.customGains, stored)
    }

    function test_theCustomRowBringsTheSlidersAndTheStoredCurve() {
        const made = makeCard({selected: "bass", customGains: [0, 0, 0, 0, 0, 0]})
        verify(!sliders(made.card).visible)
        const row = findChild(made.card, "preset_custom")
        mouseClick(row, 4, row.height / 2)
        mouseClick(row, row.width - 4, row.height / 2)
        compare(firstArguments(made.select), ["custom", "custom"])

        tryCompare(sliders(made.card), "opacity", 1)
        tryCompare(curve(made.card), "progress", 1)
        compare(curve(made.card).shownPoints, new Array(64).fill(0))
        for (const preset of PanelRules.presets)
            tryCompare(highlight(made.card, preset.rawValue), "opacity", 0)
        compare(made.edits.count, 0)
    }

    // Only the custom setting is ever edited, and an edit never changes the preset.
    function test_aSliderEditsTheCustomGainsAndTheCurveFollows() {
        const made = makeCard({selected: "custom", customGains: stored})
        const slider = findChild(made.card, "bandSlider1")
        const x = slider.width / 2
        mousePress(slider, x, slider.height / 2)
        mouseMove(slider, x, -20, -1, Qt.LeftButton)
        mouseRelease(slider, x, -20)

        const edits = firstArguments(made.edits)
        compare(edits[0], [1, 0, 3, -4, 5.5, -6])
        compare(edits[edits.length - 1], [1, 12, 3, -4, 5.5, -6])
        compare(made.select.count, 0)
        compare(made.card.selected, "custom")
        tryCompare(curve(made.card), "progress", 1)
        // 300 Hz lifted by 12 dB and 100 Hz by 1: the curve runs along the top of its scale
        // around 300 Hz.
        compare(Math.max(...curve(made.card).shownPoints), 9)
    }

    function test_slidersOnTheirWayOutTakeNoDrags() {
        const made = makeCard({selected: "custom", customGains: stored})
        made.card.selected = "flat"
        const slider = findChild(made.card, "bandSlider0")
        verify(slider.visible, "still fading out")
        mouseClick(slider, slider.width / 2, slider.height / 2)
        compare(made.edits.count, 0)
    }

    // The popover sizes the card's slot by its implicit height: it must hold the content, which
    // grows by the sliders in custom mode and shrinks back without them.
    function test_theHeightFollowsTheContent() {
        const made = makeCard({selected: "flat"})
        const presetHeight = made.card.implicitHeight
        fuzzyCompare(contentBottom(made.card) + 16, presetHeight, 0.5)

        made.card.selected = "custom"
        tryCompare(sliders(made.card), "opacity", 1)
        const customHeight = made.card.implicitHeight
        fuzzyCompare(contentBottom(made.card) + 16, customHeight, 0.5)
        verify(customHeight > presetHeight + sliders(made.card).implicitHeight)

        made.card.selected = "movie"
        tryCompare(made.card, "implicitHeight", presetHeight)
    }
}
