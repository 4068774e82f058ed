#pragma once

#include <QObject>
#include <QPoint>
#include <QQuickItem>
#include <functional>
#include <memory>
#include <vector>

#include "EngineAdaptor.h"
#include "OutputMenuHost.h"

namespace sorix {

// The output menu as the output card reaches it: a click on the card's header rescans the
// outputs and opens the menu 4 px under the header, as a native menu the shell pops up. The
// shell reports the item chosen; the host performs it. Main thread only.
class OutputMenuAdaptor : public QObject {
    Q_OBJECT

  public:
    // Shows `items` as a menu at `where` on the screen, reporting a choice through pick().
    using PopUp = std::function<void(const std::vector<OutputMenuItem>& items, QPoint where)>;

    OutputMenuAdaptor(EngineAdaptor& engine, PopUp popUp, QObject* parent = nullptr);

    // The header's click. Without an anchor (snapshots leave it out) nothing opens.
    Q_INVOKABLE void open(QQuickItem* anchor);
    // The choice of item `index` of the menu last shown.
    void pick(std::size_t index);

  private:
    EngineAdaptor& engine_;
    PopUp popUp_;
    OutputMenuHost host_;
    std::shared_ptr<const OutputMenuHost::PopUp> anchor_;
    std::vector<OutputMenuItem> shown_;
};

}  // namespace sorix
