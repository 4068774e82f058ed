#include "PanelPlacement.h"

#include <algorithm>

namespace sorix::PanelPlacement {

namespace {

constexpr int kCornerMargin = 8;

// Moves the panel inside the available area, its top-left corner winning when it is larger.
QPoint inside(QPoint corner, const QSize& panel, const QRect& available) {
    corner.setX(
        std::max(available.left(), std::min(corner.x(), available.right() + 1 - panel.width())));
    corner.setY(
        std::max(available.top(), std::min(corner.y(), available.bottom() + 1 - panel.height())));
    return corner;
}

// Below `top`, or above `bottom` when there is no room below and more above.
int verticalSpot(int top, int bottom, const QSize& panel, const QRect& available) {
    const int below = top + kGap;
    const bool fitsBelow = below + panel.height() <= available.bottom() + 1;
    const int roomAbove = bottom - available.top();
    const int roomBelow = available.bottom() + 1 - top;
    if (fitsBelow || roomBelow >= roomAbove) return below;
    return bottom - kGap - panel.height();
}

}  // namespace

QPoint underIcon(const QRect& icon, const QSize& panel, const QRect& available) {
    const int x = icon.x() + icon.width() / 2 - panel.width() / 2;
    const int y = verticalSpot(icon.bottom() + 1, icon.top(), panel, available);
    return inside({x, y}, panel, available);
}

QPoint nearPointer(const QPoint& pointer, const QSize& panel, const QRect& available) {
    const int x = pointer.x() - panel.width() / 2;
    const int y = verticalSpot(pointer.y(), pointer.y(), panel, available);
    return inside({x, y}, panel, available);
}

QPoint topRight(const QSize& panel, const QRect& available) {
    return inside(
        {available.right() + 1 - kCornerMargin - panel.width(), available.top() + kCornerMargin},
        panel, available);
}

}  // namespace sorix::PanelPlacement
