#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace sorix::PanelPlacement {

// The gap between the tray icon (or the pointer) and the panel.
inline constexpr int kGap = 6;

// The panel's top-left corner when the tray reports where its icon is: centred under the icon,
// or over it when the tray is at the bottom of the screen; always inside `available`.
QPoint underIcon(const QRect& icon, const QSize& panel, const QRect& available);
// Where the tray reports nothing (StatusNotifierItem trays): next to the pointer at the moment
// of the click, centred on it, below it or above it as there is room.
QPoint nearPointer(const QPoint& pointer, const QSize& panel, const QRect& available);
// Without a tray: the top-right corner of the screen.
QPoint topRight(const QSize& panel, const QRect& available);

}  // namespace sorix::PanelPlacement
