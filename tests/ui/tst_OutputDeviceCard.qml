import QtQuick
import QtTest
import Sorix.Ui

// The output card as its rows make it: one output, several, several on Bluetooth, none.
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
    Component {
        id: spyComponent
        SignalSpy {}
    }

    function row(uid, name, volume, delayMs) {
        return {uid: uid, name: name, volume: volume, delayMs: delayMs}
    }

    function shown(card, name) {
        const item = findChild(card, name)
        return item !== null && item.visible
    }

    function test_oneOutputIsAVolumeRowAlone() {
        const card = createTemporaryObject(cardComponent, this,
                                           {rows: [row("speakers", "Volume", 0.8, 0)]})
        compare(findChild(card, "volumeRow0").name, "Volume")
        verify(!shown(card, "delayRow0"))
        verify(!shown(card, "syncHelp"))
        verify(!shown(card, "linkSwitch"))
        verify(!shown(card, "bluetoothWarning"))
        compare(findChild(card, "outputIcon").symbol, "headphones")
    }

    function test_severalOutputsEachHaveADelayRowWithTheHelpAndTheLink() {
        const card = createTemporaryObject(cardComponent, this, {
            severalOutputs: true,
            rows: [row("dac", "USB DAC", 0.5, 0), row("hdmi", "HDMI", 1, 120)]})
        compare(findChild(card, "volumeRow0").name, "USB DAC")
        compare(findChild(card, "volumeRow1").name, "HDMI")
        verify(shown(card, "delayRow0") && shown(card, "delayRow1"))
        compare(findChild(card, "delayRow1").delayMs, 120)
        verify(shown(card, "syncHelp"))
        verify(shown(card, "linkSwitch"))
        verify(!shown(card, "bluetoothWarning"))
        compare(findChild(card, "outputIcon").symbol, "hifispeaker.2.fill")
    }

    function test_threeBluetoothOutputsWarnAboveTheHelp() {
        const card = createTemporaryObject(cardComponent, this, {
            severalOutputs: true, tooManyBluetoothOutputs: true,
            rows: [row("a", "A", 1, 0), row("b", "B", 1, 0), row("c", "C", 1, 0)]})
        const warning = findChild(card, "bluetoothWarning")
        verify(warning.visible)
        verify(warning.mapToItem(card, 0, 0).y < findChild(card, "syncHelp").mapToItem(card, 0, 0).y)
    }

    function test_noOutputIsTheHeaderAlone() {
        const card = createTemporaryObject(cardComponent, this,
                                           {title: "System Output", subtitle: "System output"})
        compare(card.implicitHeight, findChild(card, "outputHeader").height)
        compare(findChild(card, "outputTitle").text, "System Output")
    }

    function test_eachRowReportsForItsOwnOutput() {
        const card = createTemporaryObject(cardComponent, this, {
            severalOutputs: true,
            rows: [row("dac", "USB DAC", 0.5, 0), row("hdmi", "HDMI", 1, 120)]})
        const volumes = createTemporaryObject(spyComponent, this,
                                              {target: card, signalName: "volumeChosen"})
        const delays = createTemporaryObject(spyComponent, this,
                                             {target: card, signalName: "delayChosen"})
        const links = createTemporaryObject(spyComponent, this,
                                            {target: card, signalName: "linkToggled"})
        const bar = findChild(findChild(card, "volumeRow1"), "volumeBar")
        mouseClick(bar, bar.width * 0.25, bar.height / 2)
        compare(volumes.signalArguments[0][0], "hdmi")
        fuzzyCompare(volumes.signalArguments[0][1], 0.25, 1e-9)
        mouseClick(findChild(findChild(card, "delayRow0"), "delayPlus"))
        compare(delays.signalArguments[0][0], "dac")
        compare(delays.signalArguments[0][1], 10)
        mouseClick(findChild(card, "linkSwitch"))
        compare(links.count, 1)
    }

    function test_theLinkSwitchNamesItsState() {
        const card = createTemporaryObject(cardComponent, this, {
            severalOutputs: true, volumesLinked: false,
            rows: [row("a", "A", 1, 0), row("b", "B", 1, 0)]})
        compare(findChild(card, "linkText").text, "Independent")
        card.volumesLinked = true
        compare(findChild(card, "linkText").text, "Linked")
    }
}
