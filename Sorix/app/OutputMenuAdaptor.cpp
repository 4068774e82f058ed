#include "OutputMenuAdaptor.h"

#include <QPointer>

namespace sorix {

namespace {

// The menu opens this far below the anchor's lower edge.
constexpr double kMenuGap = 4;

}  // namespace

OutputMenuAdaptor::OutputMenuAdaptor(EngineAdaptor& engine, PopUp popUp, QObject* parent)
    : QObject(parent),
      engine_(engine),
      popUp_(std::move(popUp)),
      host_(engine.engine().mainQueue()) {}

void OutputMenuAdaptor::open(QQuickItem* anchor) {
    // Newly connected devices are listed at once.
    engine_.refreshOutputs();
    anchor_.reset();
    if (anchor != nullptr) {
        // The anchor may go with its view before the menu's turn comes.
        anchor_ = std::make_shared<const OutputMenuHost::PopUp>(
            [this, item = QPointer<QQuickItem>(anchor)](const std::vector<OutputMenuItem>& items) {
                if (item.isNull() || item->window() == nullptr) return;
                shown_ = items;
                const QPointF below(0, item->height() + kMenuGap);
                popUp_(items, item->mapToGlobal(below).toPoint());
            });
    }
    host_.setAnchor(anchor_);
    host_.show(engine_.sharedEngine());
}

void OutputMenuAdaptor::pick(std::size_t index) {
    if (index < shown_.size()) host_.pick(shown_[index]);
}

}  // namespace sorix
