#pragma once

#include <QIcon>
#include <QImage>

namespace sorix {

// Sorix's tray icon: the logo's bars in their colours (trays of both light and dark desktops
// show it), drawn for each size a tray may ask for.
QImage trayIconImage(int size);
QIcon trayIcon();

}  // namespace sorix
