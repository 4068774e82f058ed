#pragma once

#include <QString>
#include <functional>

#include "DesktopActions.h"
#include "EngineAdaptor.h"
#include "PanelState.h"

namespace sorix {

// Renders the panel once into a PNG file, the way it looks with the state it is given, and says
// on stderr how that went: "snapshot OK -> PATH" or "snapshot FAILED". Needs a Qt Quick
// application; the caller picks the offscreen, software, twice-scaled rendering before creating
// it, so the picture is 768 pixels wide without any display.
class SnapshotRunner {
  public:
    SnapshotRunner(PanelState& panel, EngineAdaptor& engine, DesktopActions& desktop);

    // True when the picture was rendered (a file that could not be written still counts).
    // `beforeFailure` runs before the failure is reported, to say why.
    bool render(const QString& path, const std::function<void()>& beforeFailure = {});

  private:
    PanelState& panel_;
    EngineAdaptor& engine_;
    DesktopActions& desktop_;
};

}  // namespace sorix
