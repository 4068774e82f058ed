#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MainQueue.h"
#include "TapEngine.h"

namespace sorix {

// One line of the output menu, as the panel turns it into a native menu item.
struct OutputMenuItem {
    enum class Kind { action, separator, hint };
    Kind kind = Kind::action;
    std::string title{};
    bool checked = false;
    bool enabled = true;
    // The output a pick toggles; none for "System Default", separators and the hint.
    std::optional<std::string> representedUID{};
    friend bool operator==(const OutputMenuItem&, const OutputMenuItem&) = default;
};

// The system default and every physical output, a check mark on each that plays, then the hint.
std::vector<OutputMenuItem> outputMenuItems(const TapEngine& engine);

// Owns the output menu's logic: builds the items from the engine's state when the card asks,
// hands them to the anchor (the card's invisible view, which pops the native menu up under the
// card's header) one main-queue turn later, and performs the choice.
class OutputMenuHost {
  public:
    using PopUp = std::function<void(const std::vector<OutputMenuItem>& items)>;

    explicit OutputMenuHost(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

    // The anchor is the view's: the host only borrows it and forgets it when the view goes.
    void setAnchor(const std::shared_ptr<const PopUp>& anchor) { anchor_ = anchor; }

    // The card rescans the outputs just before calling this.
    void show(std::shared_ptr<TapEngine> engine);
    void pick(const OutputMenuItem& item);

  private:
    MainQueue& mainQueue_;
    std::weak_ptr<const PopUp> anchor_;
    std::shared_ptr<TapEngine> engine_;
};

}  // namespace sorix
