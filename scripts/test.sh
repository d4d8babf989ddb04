#!/usr/bin/env bash
# Installs what is missing, builds everything and runs all tests. Takes a few minutes.
set -euo pipefail
source "$(dirname "$0")/setup.sh" build test

heading "Configure (build/dev)"
quietly configure-dev cmake --preset dev -DPDM_TESTS=ON
heading "Build"
quietly build-dev cmake --build --preset dev --parallel "$PDM_JOBS"
heading "Test"
ctest --preset dev --parallel "$PDM_JOBS"
