#include "TrayIconArt.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include "LogoBars.h"

namespace sorix {

namespace {

// The logo's bars fill the middle of its design square; the icon crops to them, so that they
// are as tall as a tray allows.
constexpr double kTop = 235;
constexpr double kBottom = 855;
constexpr double kLeft = 214;
constexpr double kRight = 1070;

}  // namespace

QImage trayIconImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double span = std::max(kRight - kLeft, kBottom - kTop);
    const double scale = size * 0.92 / span;
    const double left = (size - (kRight - kLeft) * scale) / 2 - kLeft * scale;
    const double top = (size - (kBottom - kTop) * scale) / 2 - kTop * scale;
    QLinearGradient gradient(0, top + kTop * scale, 0, top + kBottom * scale);
    gradient.setColorAt(0.0, QColor(0x58, 0xF1, 0xDA));
    gradient.setColorAt(0.5, QColor(0x4D, 0xA2, 0xFF));
    gradient.setColorAt(1.0, QColor(0x8B, 0x5C, 0xFF));
    for (const auto* group : {&LogoBars::left, &LogoBars::right}) {
        for (const LogoBar& bar : *group) {
            // At small sizes a bar must stay at least a pixel wide to be seen.
            const double width = std::max(bar.w * scale, 1.2);
            QPainterPath path;
            path.addRoundedRect(
                QRectF(left + bar.x * scale, top + bar.y * scale, width, bar.h * scale), width / 2,
                width / 2);
            painter.fillPath(path, gradient);
        }
    }
    return image;
}

QIcon trayIcon() {
    QIcon icon;
    for (const int size : {22, 24, 32, 48, 64, 128})
        icon.addPixmap(QPixmap::fromImage(trayIconImage(size)));
    return icon;
}

}  // namespace sorix
