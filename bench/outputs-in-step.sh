#!/usr/bin/env bash
# Two outputs of one pipeline, 20 ms apart by a manual delay, recorded together every few seconds
# over a long run: they must stay that far apart to within 1 ms, with no drift between them. Runs
# the end-to-end test that checks this, for longer than the test suite does.
#
#   bash bench/outputs-in-step.sh [SECONDS]     (default 300; after a build in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
tests=build/tests/app/sorix_end_to_end_tests
[ -x "$tests" ] || { echo "build the tests first (cmake --build build)" >&2; exit 1; }
SORIX_IN_STEP_SECONDS="${1:-300}" "$tests" \
    --gtest_filter='OutputsInStepTest.AManualDelayHoldsTheOutputsThatFarApartRunAfterRun/*'
