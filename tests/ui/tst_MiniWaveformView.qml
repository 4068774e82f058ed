import QtQuick
import QtTest
import Sorix.Ui

Item {
    id: root
    width: 200
    height: 100

    // Stands in for the engine: the state flag and the peak slot, counting the reads.
    Component {
        id: engineComponent
        QtObject {
            property bool isActive: true
            property real peak: 0.5
            property int reads: 0
            function latestOutputPeak() {
                ++reads
                return peak
            }
        }
    }

    Component {
        id: waveComponent
        MiniWaveformView {
            width: 110
            height: 18
        }
    }

    TestCase {
        name: "MiniWaveformView"
        when: windowShown

        function make(running, isActive, peak) {
            const engine = createTemporaryObject(engineComponent, root,
                                                 {isActive: isActive, peak: peak})
            const wave = createTemporaryObject(waveComponent, root,
                                               {engine: engine, running: running})
            return {engine: engine, wave: wave, timer: findChild(wave, "waveformTimer")}
        }

        function heights(wave) {
            const found = []
            for (let i = 0; i < wave.capsuleCount; ++i)
                found.push(findChild(wave, "capsule" + i).height)
            return found
        }

        function test_itTicksOnlyWhileShownAndTheEngineIsActive_data() {
            return [{tag: "shown, active", running: true, isActive: true, ticks: true},
                    {tag: "hidden, active", running: false, isActive: true, ticks: false},
                    {tag: "shown, inactive", running: true, isActive: false, ticks: false}]
        }

        function test_itTicksOnlyWhileShownAndTheEngineIsActive(data) {
            const made = make(data.running, data.isActive, 0.5)
            compare(made.timer.running, data.ticks)
            const appeared = made.engine.reads
            wait(200)
            compare(made.engine.reads > appeared, data.ticks)
        }

        function test_aFrozenDisplayShowsTheLevelItAppearedWith() {
            const quiet = make(false, false, 0)
            const loud = make(false, false, 0.62)
            compare(Math.max(...heights(quiet.wave)), quiet.wave.minimumHeight)
            verify(Math.max(...heights(loud.wave)) > 2 * loud.wave.minimumHeight)
        }

        // Hiding the panel or stopping the engine freezes the ripple where it stands.
        function test_itFreezesMidRippleAndResumes_data() {
            return [{tag: "panel hidden", hide: wave => wave.running = false,
                     show: wave => wave.running = true},
                    {tag: "engine stopped", hide: wave => wave.engine.isActive = false,
                     show: wave => wave.engine.isActive = true}]
        }

        function test_itFreezesMidRippleAndResumes(data) {
            const made = make(true, true, 0.5)
            tryVerify(() => made.engine.reads >= 3, 1000)
            data.hide(made.wave)
            verify(!made.timer.running)
            const reads = made.engine.reads
            const frozen = heights(made.wave)
            verify(Math.max(...frozen) > made.wave.minimumHeight, "frozen mid-ripple, not reset")
            wait(200)
            compare(made.engine.reads, reads)
            compare(heights(made.wave), frozen)
            data.show(made.wave)
            verify(made.timer.running)
        }

        function test_itReadsThePeakAtMostEvery50Ms() {
            const start = Date.now()
            const made = make(true, true, 0.5)
            wait(500)
            // A busy machine may wake the wait late; what counts is the time that really passed.
            const elapsed = Date.now() - start
            verify(made.engine.reads <= Math.floor(elapsed / 50) + 1,
                   made.engine.reads + " reads in " + elapsed + " ms")
            verify(made.engine.reads >= 1)
        }

        // Silence is a flat row of dots; louder is taller, and full scale still fits the frame.
        function test_capsulesGrowWithTheLevelFromADotToTheFrame() {
            const wave = make(false, false, 0).wave
            verify(wave.minimumHeight > 0, "silence still draws dots")
            for (let phase = 0; phase < 7; phase += 0.29) {
                let quiet = 0
                let loud = 0
                for (let i = 0; i < wave.capsuleCount; ++i) {
                    const low = wave.capsuleHeight(i, phase, 0.2)
                    const high = wave.capsuleHeight(i, phase, 0.8)
                    const full = wave.capsuleHeight(i, phase, 1)
                    compare(wave.capsuleHeight(i, phase, 0), wave.minimumHeight)
                    verify(low <= high && high <= full, "capsule " + i + " at " + phase)
                    verify(full <= 18, full + " at capsule " + i)
                    quiet += low
                    loud += high
                }
                verify(loud > quiet, "phase " + phase)
            }
        }

        // A boosted output can peak above full scale; shown as full scale, the row still fits.
        function test_peaksAboveFullScaleShowAsFullScale() {
            const made = make(true, true, 4)
            tryVerify(() => made.engine.reads >= 3, 1000)
            compare(made.wave.level, 1)
        }
    }
}
