import QtQuick

// One symbol of the panel's icon font, sized in points like text.
Text {
    property string symbol
    property real size: 12

    text: Symbols.glyph(symbol)
    font.family: Symbols.family
    font.pixelSize: size
    verticalAlignment: Text.AlignVCenter
    horizontalAlignment: Text.AlignHCenter
}
