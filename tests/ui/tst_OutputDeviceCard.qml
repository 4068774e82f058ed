import QtQuick
import QtTest
import Sorix.Ui

// The output card as its rows make it: one output, several, several on Bluetooth, none. What a
// row reports reaches the engine in the whole panel's test.
TestCase {
    name: "OutputDeviceCard"
    when: windowShown
    visible: true
    width: 400
    height: 600

    Component {
        id: cardComponent
        OutputDeviceCard { width: 352 }
    }

    function row(uid, name) {
        return {uid: uid, name: name, volume: 1, delayMs: 0}
    }

    function shown(card, name) {
        const item = findChild(card, name)
        return item !== null && item.visible
    }

    // One output is a volume row alone; several have a delay row each, the help and the link.
    function test_theRowsFollowHowManyOutputsPlay_data() {
        return [
            {tag: "one", several: false, rows: [row("speakers", "Volume")],
             icon: "headphones"},
            {tag: "several", several: true, rows: [row("dac", "USB DAC"), row("hdmi", "HDMI")],
             icon: "hifispeaker.2.fill"},
        ]
    }

    function test_theRowsFollowHowManyOutputsPlay(data) {
        const card = createTemporaryObject(cardComponent, this,
                                           {severalOutputs: data.several, rows: data.rows})
        for (let i = 0; i < data.rows.length; ++i) {
            compare(findChild(card, "volumeRow" + i).name, data.rows[i].name)
            compare(shown(card, "delayRow" + i), data.several)
        }
        compare(shown(card, "syncHelp"), data.several)
        compare(shown(card, "linkSwitch"), data.several)
        verify(!shown(card, "bluetoothWarning"))
        compare(findChild(card, "outputIcon").symbol, data.icon)
    }

    function test_threeBluetoothOutputsWarnAboveTheHelp() {
        const card = createTemporaryObject(cardComponent, this, {
            severalOutputs: true, tooManyBluetoothOutputs: true,
            rows: [row("a", "A"), row("b", "B"), row("c", "C")]})
        const warning = findChild(card, "bluetoothWarning")
        verify(warning.visible)
        verify(warning.mapToItem(card, 0, 0).y < findChild(card, "syncHelp").mapToItem(card, 0, 0).y)
    }

    function test_noOutputIsTheHeaderAlone() {
        const card = createTemporaryObject(cardComponent, this)
        compare(card.implicitHeight, findChild(card, "outputHeader").height)
    }
}
