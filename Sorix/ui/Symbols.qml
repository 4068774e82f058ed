pragma Singleton
import QtQuick

// The symbols the panel shows, by the names its views use, as glyphs of the Material Icons font
// (its ligatures: the glyph's name is the text to draw).
QtObject {
    readonly property string family: "Material Icons"

    readonly property var glyphs: ({
        "headphones": "headphones",
        "hifispeaker.2.fill": "speaker_group",
        "slider.horizontal.3": "tune",
        "slider.vertical.3": "equalizer",
        "shield.fill": "shield",
        "shield.slash.fill": "remove_moderator",
        "exclamationmark.shield.fill": "gpp_maybe",
        "chevron.right": "chevron_right",
        "chevron.left": "chevron_left",
        "chevron.down": "expand_more",
        "gearshape.fill": "settings",
        "power": "power_settings_new",
        "speaker.wave.2.fill": "volume_up",
        "link": "link",
        "link.slash": "link_off",
        "clock.arrow.circlepath": "history",
        "minus.circle.fill": "remove_circle",
        "plus.circle.fill": "add_circle",
        "minus": "remove",
        "music.note": "music_note",
        "speaker.wave.3.fill": "speaker",
        "sparkles": "auto_awesome",
        "mic.fill": "mic",
        "film.fill": "movie",
        "waveform": "graphic_eq"
    })

    // The glyph of a symbol; an unknown name draws nothing rather than its letters.
    function glyph(name) {
        const found = glyphs[name]
        return found === undefined ? "" : found
    }
}
