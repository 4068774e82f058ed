#pragma once

#include "SnapshotRunner.h"

namespace sorix {

struct SnapshotRequest;

// Snapshot mode: stores the snapshot's settings, renders the panel into the requested PNG and
// exits with status 0 whatever happened; stderr says how it went. Needs no display and does not
// wait for a sound server.
int runSnapshot(int& argc, char** argv, const SnapshotRequest& request);

}  // namespace sorix
