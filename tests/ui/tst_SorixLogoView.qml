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

        // Every frame scales the design square by its width alone, from the top-left corner: a
        // tall frame leaves space below the bars, a wide one lets them run past the bottom.
        function test_theBarsAreTheTableScaledByTheWidth_data() {
            return [{tag: "square 50", width: 50, height: 50},
                    {tag: "taller than wide", width: 50, height: 120},
                    {tag: "wider than tall", width: 200, height: 50}]
        }

        function test_theBarsAreTheTableScaledByTheWidth(data) {
            const logo = createTemporaryObject(logoComponent, root,
                                               {width: data.width, height: data.height})
            const s = data.width / 1254
            compare(PanelRules.logoBars.length, 8)
            for (let i = 0; i < PanelRules.logoBars.length; ++i) {
                const bar = PanelRules.logoBars[i]
                const drawn = findChild(logo, "logoBar" + i)
                verify(drawn !== null, "bar " + i)
                fuzzyCompare(drawn.x, bar.x * s, 1e-9)
                fuzzyCompare(drawn.y, bar.y * s, 1e-9)
                fuzzyCompare(drawn.width, bar.w * s, 1e-9)
                fuzzyCompare(drawn.height, bar.h * s, 1e-9)
                fuzzyCompare(drawn.radius, drawn.width / 2, 1e-9)
            }
        }
    }
}
