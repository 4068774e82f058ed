pragma Singleton
import QtQuick

// The panel's palette, its three gradients and its fonts. The panel is always dark.
QtObject {
    readonly property color background: "#070A12"
    readonly property color deepPanel: "#0B0F1A"
    readonly property color surfaceElevated: "#111522"
    readonly property color border: Qt.rgba(1, 1, 1, 0.1)
    readonly property color textPrimary: "#F7F8FF"
    readonly property color textSecondary: "#9BA0B5"
    readonly property color textMuted: "#6F7487"
    readonly property color purple: "#8B5CFF"
    readonly property color blue: "#4DA2FF"
    readonly property color cyan: "#58F1DA"
    readonly property color safeCyan: "#64F4D2"
    readonly property color amber: "#FFB84D"

    // Leading to trailing.
    readonly property Gradient spectrum: Gradient {
        orientation: Gradient.Horizontal
        GradientStop { position: 0.0; color: "#58F1DA" }
        GradientStop { position: 0.5; color: "#4DA2FF" }
        GradientStop { position: 1.0; color: "#8B5CFF" }
    }
    readonly property Gradient purpleToggle: Gradient {
        orientation: Gradient.Horizontal
        GradientStop { position: 0.0; color: "#8B5CFF" }
        GradientStop { position: 1.0; color: "#4DA2FF" }
    }
    // Bottom to top.
    readonly property Gradient eqBar: Gradient {
        GradientStop { position: 0.0; color: "#8B5CFF" }
        GradientStop { position: 1.0; color: "#4DA2FF" }
    }

    // The system font of the panel, with the weights it uses.
    readonly property string fontFamily: "Inter"
}
