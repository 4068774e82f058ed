import QtQuick

// A small rippling row of capsules that shows audio is flowing and roughly how loud. It is a
// decoration, not a meter: the peak is read once per tick and shaped to look alive.
Item {
    id: wave

    // Anything with `isActive` and `latestOutputPeak()`.
    property var engine: null
    // Cleared by the owner while the panel is hidden, so nothing ticks unseen.
    property bool running: true

    implicitWidth: 110
    implicitHeight: 18

    readonly property int capsuleCount: 22
    readonly property real capsuleWidth: 2.5
    // A silent row still shows as a line of dots, never as nothing.
    readonly property real minimumHeight: capsuleWidth
    readonly property bool ticking: running && !!engine && engine.isActive

    // The animation's own phase and its smoothed level; nothing outside the view depends on them.
    property real phase: 0
    property real level: 0

    // Quiet audio should still visibly ripple, so the level is shown on a square-root scale.
    function displayLevel(peak) {
        return Math.min(1, Math.sqrt(Math.max(0, peak)))
    }

    // Rises at once and falls gently, so single loud samples do not make the row flicker.
    function nextLevel(previous, peak) {
        return Math.max(displayLevel(peak), previous * 0.82)
    }

    // Louder output ripples faster. The phase wraps at 20π, where both sines of the height
    // (frequencies 1 and 1.7) complete whole turns, so the wrap is invisible.
    function nextPhase(current, shownLevel) {
        return (current + 0.18 + 0.5 * shownLevel) % (20 * Math.PI)
    }

    // Height of capsule `index` at `phase` for a shown level in 0…1: the middle of the row
    // reaches highest, two sines running against each other make the ripple, and the level
    // scales it all between a dot and the full height.
    function capsuleHeight(index, atPhase, shownLevel) {
        const position = (index + 0.5) / capsuleCount
        const envelope = 0.45 + 0.55 * Math.sin(Math.PI * position)
        const ripple = 0.5 + 0.3 * Math.sin(atPhase + 0.7 * index)
                           + 0.2 * Math.sin(1.7 * atPhase - 1.3 * index)
        return minimumHeight + (height - minimumHeight) * shownLevel * envelope * ripple
    }

    // The colour of the spectrum gradient at `t` in 0…1 across the row.
    function spectrumAt(t) {
        const first = t < 0.5
        const from = first ? Brand.cyan : Brand.blue
        const to = first ? Brand.blue : Brand.purple
        const u = first ? 2 * t : 2 * t - 1
        return Qt.rgba(from.r + (to.r - from.r) * u, from.g + (to.g - from.g) * u,
                       from.b + (to.b - from.b) * u, 1)
    }

    // A frozen display shows the level at the moment it appeared (a snapshot, a panel opened
    // while the engine is off), not a flat row.
    Component.onCompleted: {
        if (engine) {
            level = displayLevel(engine.latestOutputPeak())
            phase = 1.3
        }
    }

    Timer {
        objectName: "waveformTimer"
        interval: 50
        repeat: true
        running: wave.ticking
        onTriggered: {
            wave.level = wave.nextLevel(wave.level, wave.engine.latestOutputPeak())
            wave.phase = wave.nextPhase(wave.phase, wave.level)
        }
    }

    Repeater {
        model: wave.capsuleCount

        // Each capsule carries its own slice of one gradient across the whole row.
        Rectangle {
            id: capsule
            required property int index

            objectName: "capsule" + index
            width: wave.capsuleWidth
            height: wave.capsuleHeight(index, wave.phase, wave.level)
            x: index * (wave.width - width) / (wave.capsuleCount - 1)
            y: (wave.height - height) / 2
            radius: width / 2
            opacity: wave.engine && wave.engine.isActive ? 1 : 0.55
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0.0; color: wave.spectrumAt(capsule.x / wave.width) }
                GradientStop { position: 1.0; color: wave.spectrumAt((capsule.x + capsule.width) / wave.width) }
            }
        }
    }
}
