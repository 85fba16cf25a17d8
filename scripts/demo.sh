#!/usr/bin/env bash
# Sets up the machine, builds, and runs the demo: a host that loads the layer in verbose mode,
# routes it to a stand-in driver and plays a short scripted Vulkan session.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
scripts/build.sh
exec build/demo/tov_demo "$@"
