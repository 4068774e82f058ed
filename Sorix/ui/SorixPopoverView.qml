import QtQuick
import Qt5Compat.GraphicalEffects
import Sorix.Panel

// The panel's content: the header with the master switch, the card of the moment (the boost
// card, the Safe Mode confirmation or the equaliser), the output card, and the footer. It draws
// what the panel state and the engine say and hands the user's actions to them; it decides
// nothing itself.
Item {
    id: popover

    required property PanelState panel
    required property EngineAdaptor engine
    required property DesktopActions desktop
    // The output card's menu; none where no menu can open (snapshots).
    property OutputMenuAdaptor outputMenu: null
    // Whether anyone can see the panel: the level display runs only then.
    property bool shown: true
    // Round corners, where the desktop draws the window's transparency.
    property bool rounded: false

    readonly property bool contentDimmed: !engine.isOn
    // Effects need a graphics card; the software renderer (snapshots, some virtual machines)
    // dims by opacity alone.
    readonly property bool canDesaturate: GraphicsInfo.api !== GraphicsInfo.Software

    width: 384
    implicitWidth: 384
    implicitHeight: column.implicitHeight + 32
    height: implicitHeight

    Rectangle {
        anchors.fill: parent
        radius: popover.rounded ? 16 : 0
        gradient: Gradient {
            GradientStop { position: 0.0; color: Brand.surfaceElevated }
            GradientStop { position: 1.0; color: Brand.background }
        }
    }
    RadialGradient {
        anchors.fill: parent
        horizontalOffset: 0
        verticalOffset: -height / 2
        horizontalRadius: 300
        verticalRadius: 300
        gradient: Gradient {
            GradientStop { position: 0.0; color: Qt.rgba(0x8B / 255, 0x5C / 255, 1, 0.08) }
            GradientStop { position: 1.0; color: "transparent" }
        }
    }

    Column {
        id: column
        x: 16
        y: 16
        width: 352
        spacing: 0

        SorixHeaderView {
            width: parent.width
            isOn: popover.engine.isOn
            onSwitchToggled: (on) => popover.panel.setMasterSwitch(on)
        }

        Item {
            id: content
            objectName: "content"
            width: parent.width
            height: contentColumn.implicitHeight
            opacity: popover.contentDimmed ? 0.4 : 1.0
            Behavior on opacity { NumberAnimation { duration: 400; easing.type: Easing.InOutQuad } }

            layer.enabled: popover.canDesaturate && popover.contentDimmed
            layer.effect: Desaturate { desaturation: 0.45 }

            Column {
                id: contentColumn
                width: parent.width
                topPadding: 11
                spacing: 11

                // The cards cross-fade in one slot. One that is fading out still lies on top for
                // 200 ms, so only the current card takes clicks.
                Item {
                    id: cardSlot
                    width: parent.width
                    height: popover.panel.showSafeConfirm ? confirmCard.implicitHeight
                          : popover.panel.showEQ ? eqCard.implicitHeight
                          : boostCard.implicitHeight

                    BoostControlCard {
                        id: boostCard
                        objectName: "boostCard"
                        width: parent.width
                        readonly property bool current: !popover.panel.showSafeConfirm
                                                        && !popover.panel.showEQ
                        opacity: current ? 1 : 0
                        visible: opacity > 0
                        enabled: current
                        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
                        percentText: popover.panel.percentText
                        subtitle: popover.panel.subtitle
                        subtitleWarns: popover.panel.subtitleWarns
                        boostValue: popover.panel.effectiveBoost
                        sliderCap: popover.panel.sliderCap
                        presetTitle: popover.panel.presetTitle
                        presetIsFlat: popover.panel.presetIsFlat
                        safeMode: popover.panel.safeMode
                        limiterTitle: popover.panel.limiterTitle
                        limiterSubtitle: popover.panel.limiterSubtitle
                        limiterWarns: popover.panel.limiterWarns
                        onBoostChosen: (value) => popover.panel.setBoostFromSlider(value)
                        onOpenEQ: popover.panel.openEQ()
                        onToggleSafeMode: popover.panel.toggleSafeMode()
                    }
                    SafeModeConfirmCard {
                        id: confirmCard
                        width: parent.width
                        opacity: popover.panel.showSafeConfirm ? 1 : 0
                        visible: opacity > 0
                        enabled: popover.panel.showSafeConfirm
                        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
                        onDisableRequested: popover.panel.disableSafeMode()
                        onKeepRequested: popover.panel.keepSafeMode()
                    }
                    EQPanelCard {
                        id: eqCard
                        width: parent.width
                        opacity: popover.panel.showEQ && !popover.panel.showSafeConfirm ? 1 : 0
                        visible: opacity > 0
                        enabled: popover.panel.showEQ && !popover.panel.showSafeConfirm
                        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
                        selected: popover.panel.eqPreset
                        customGains: popover.panel.customGains
                        onSelect: (rawValue) => popover.panel.selectPreset(rawValue)
                        onCustomGainsChange: (gains) => popover.panel.changeCustomGains(gains)
                        onBack: popover.panel.closeEQ()
                    }
                }

                OutputDeviceCard {
                    id: outputCard
                    objectName: "outputCard"
                    width: parent.width
                    title: popover.engine.outputTitle
                    subtitle: popover.engine.outputSubtitle
                    severalOutputs: popover.engine.severalOutputs
                    rows: popover.engine.outputRows
                    tooManyBluetoothOutputs: popover.engine.tooManyBluetoothOutputs
                    volumesLinked: popover.engine.volumesLinked
                    showsMenuAnchor: popover.outputMenu !== null
                    onHeaderClicked: {
                        if (popover.outputMenu !== null)
                            popover.outputMenu.open(outputCard.menuAnchor)
                        else
                            popover.engine.refreshOutputs()
                    }
                    onVolumeChosen: (uid, volume) => popover.engine.setOutputVolume(uid, volume)
                    onDelayChosen: (uid, delayMs) => popover.engine.setOutputDelay(uid, delayMs)
                    onLinkToggled: popover.engine.volumesLinked = !popover.engine.volumesLinked
                }
            }
        }

        Item { width: 1; height: 11 }

        FooterControlsView {
            width: parent.width
            engine: popover.engine
            waveformRunning: popover.shown
            version: popover.desktop.version
            launchAtLogin: popover.desktop.launchAtLogin
            soundSettingsAvailable: popover.desktop.soundSettingsAvailable
            onQuitRequested: popover.desktop.quit()
            onSoundSettingsRequested: popover.desktop.openSoundSettings()
            onLaunchAtLoginToggled: (on) => popover.desktop.setLaunchAtLogin(on)
            onSettingsShown: popover.desktop.refreshLaunchAtLogin()
        }
    }
}
