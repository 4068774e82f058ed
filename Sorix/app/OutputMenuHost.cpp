#include "OutputMenuHost.h"

#include <algorithm>

namespace sorix {

std::vector<OutputMenuItem> outputMenuItems(const TapEngine& engine) {
    using Kind = OutputMenuItem::Kind;
    const std::vector<std::string>& selected = engine.selectedOutputUIDs().get();
    std::vector<OutputMenuItem> items;
    items.push_back({.title = "System Default", .checked = selected.empty()});
    items.push_back({.kind = Kind::separator});
    for (const OutputDevice& device : engine.availableOutputs().get()) {
        const bool pinned =
            std::find(selected.begin(), selected.end(), device.uid) != selected.end();
        items.push_back({.title = device.name, .checked = pinned, .representedUID = device.uid});
    }
    items.push_back({.kind = Kind::separator});
    items.push_back({.kind = Kind::hint,
                     .title = "Pick several to play on multiple outputs",
                     .enabled = false});
    return items;
}

void OutputMenuHost::show(std::shared_ptr<TapEngine> engine) {
    engine_ = std::move(engine);
    if (anchor_.expired()) return;
    // The menu is built from the state at this moment and not updated while open.
    mainQueue_.async([anchor = anchor_, items = outputMenuItems(*engine_)] {
        if (const auto popUp = anchor.lock()) (*popUp)(items);
    });
}

void OutputMenuHost::pick(const OutputMenuItem& item) {
    if (!engine_ || item.kind != OutputMenuItem::Kind::action) return;
    if (item.representedUID) {
        engine_->toggleOutput(*item.representedUID);
    } else {
        engine_->clearOutputSelection();
    }
}

}  // namespace sorix
