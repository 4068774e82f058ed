import QtQuick
import QtTest
import Sorix.Ui

TestCase {
    name: "SafeModeConfirmCard"
    when: windowShown
    visible: true
    width: 400
    height: 240

    Component {
        id: cardComponent
        SafeModeConfirmCard { width: 352 }
    }
    Component {
        id: spyComponent
        SignalSpy {}
    }

    // Each button says one thing; the wrong answer here would switch a hearing safeguard.
    function test_eachButtonRequestsItsOwnAnswer_data() {
        return [
            {tag: "Unlock 800%", button: "unlockButton", chosen: "disableRequested",
             other: "keepRequested"},
            {tag: "Keep Safe Mode", button: "keepButton", chosen: "keepRequested",
             other: "disableRequested"},
        ]
    }

    function test_eachButtonRequestsItsOwnAnswer(data) {
        const card = createTemporaryObject(cardComponent, this)
        const chosen = createTemporaryObject(spyComponent, this,
                                             {target: card, signalName: data.chosen})
        const other = createTemporaryObject(spyComponent, this,
                                            {target: card, signalName: data.other})
        const button = findChild(card, data.button)
        mouseClick(button, 3, 3)
        mouseClick(button, button.width - 3, button.height - 3)
        compare(chosen.count, 2)
        compare(other.count, 0)
    }
}
