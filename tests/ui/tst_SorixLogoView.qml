import QtQuick
import QtTest
import Sorix.Panel
import Sorix.Ui

Item {
    id: root
    width: 300
    height: 300

    Component {
        id: logoComponent
        SorixLogoView {}
    }

    TestCase {
        name: "SorixLogoView"
        when: windowShown

        function bars(logo) {
            const found = []
            for (let i = 0; i < PanelRules.logoBars.length; ++i)
                found.push(findChild(logo, "logoBar" + i))
            return found
        }

        function lowestBottom(logo) {
            return Math.max(...bars(logo).map(bar => bar.y + bar.height))
        }

        // Every frame scales the design square by its width alone, from the top-left corner.
        function test_theBarsAreTheTableScaledByTheWidth_data() {
            return [{tag: "square 50", width: 50, height: 50},
                    {tag: "taller than wide", width: 50, height: 120},
                    {tag: "wider than tall", width: 200, height: 50}]
        }

        function test_theBarsAreTheTableScaledByTheWidth(data) {
            const logo = createTemporaryObject(logoComponent, root,
                                               {width: data.width, height: data.height})
            const s = data.width / 1254
            const drawn = bars(logo)
            compare(drawn.length, 8)
            for (let i = 0; i < drawn.length; ++i) {
                const bar = PanelRules.logoBars[i]
                verify(drawn[i] !== null, "bar " + i)
                fuzzyCompare(drawn[i].x, bar.x * s, 1e-9)
                fuzzyCompare(drawn[i].y, bar.y * s, 1e-9)
                fuzzyCompare(drawn[i].width, bar.w * s, 1e-9)
                fuzzyCompare(drawn[i].height, bar.h * s, 1e-9)
                fuzzyCompare(drawn[i].radius, drawn[i].width / 2, 1e-9)
            }
        }

        function test_inTheHeadersFrameTheTallestBarSpans620Of1254() {
            const logo = createTemporaryObject(logoComponent, root, {width: 50, height: 50})
            const tallest = Math.max(...bars(logo).map(bar => bar.height))
            fuzzyCompare(tallest, 620 / 1254 * 50, 1e-9)
        }

        function test_aTallFrameLeavesSpaceBelowAWideOneRunsPastTheBottom() {
            const tall = createTemporaryObject(logoComponent, root, {width: 50, height: 120})
            const square = createTemporaryObject(logoComponent, root, {width: 50, height: 50})
            compare(lowestBottom(tall), lowestBottom(square))
            verify(lowestBottom(tall) < tall.height - 50, "empty space below the bars")

            const wide = createTemporaryObject(logoComponent, root, {width: 200, height: 50})
            verify(lowestBottom(wide) > wide.height, "bars run past the bottom edge")
            fuzzyCompare(lowestBottom(wide), 855 / 1254 * 200, 1e-9)
        }
    }
}
