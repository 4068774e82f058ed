import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "Symbols"

    Component {
        id: symbolComponent
        SymbolText {}
    }

    function test_everyNameUsedHasAGlyphAndAnUnknownOneDrawsNothing() {
        const symbol = createTemporaryObject(symbolComponent, this, {symbol: "headphones", size: 19})
        verify(symbol.implicitWidth > 10 && symbol.implicitWidth < 30,
               "the ligature is one glyph, not ten letters: " + symbol.implicitWidth)
        symbol.symbol = "no.such.symbol"
        compare(symbol.text, "")
    }
}
