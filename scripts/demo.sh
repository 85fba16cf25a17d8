#!/usr/bin/env bash
# Sets up the machine, builds, and runs the demo: a host that loads the layer in verbose mode,
# routes it to a stand-in driver and plays a short scripted Vulkan session; then real Vulkan
# applications logged through the Vulkan loader (see "Logging real Vulkan applications").
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
scripts/build.sh
build/demo/tov_demo "$@"

# Then real Vulkan applications through the Vulkan loader, on Mesa's software driver (lavapipe):
# the project's sample (a compute shader run) in verbose mode, then vulkaninfo in ordinary mode,
# whose logger lines go to standard error.
lavapipe=/usr/share/vulkan/icd.d/lvp_icd.x86_64.json
if [ -z "${VK_ICD_FILENAMES:-}${VK_DRIVER_FILES:-}" ] && [ -f "$lavapipe" ]; then
  export VK_ICD_FILENAMES=$lavapipe VK_DRIVER_FILES=$lavapipe
fi
mode=--verbose
[ "${1:-}" = "--ordinary" ] && mode=
echo "=== build/loader/tov-log $mode -- build/loader/vk_sample"
build/loader/tov-log $mode -- build/loader/vk_sample
echo "=== build/loader/tov-log -- vulkaninfo --summary"
build/loader/tov-log -- vulkaninfo --summary
