#!/usr/bin/env bash
# Sets up the machine, builds, and runs the demo: a host that loads the layer in verbose mode,
# routes it to a stand-in driver and plays a short scripted Vulkan session; then real Vulkan
# applications logged through the Vulkan loader (see "Logging real Vulkan applications"), a few
# frames of vkd3d-gears, a Direct3D 12 program on vkd3d (see "Logging real Direct3D 12
# programs"), and last a Windows program under Wine (see "Logging Windows programs under Wine").
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh --windows
scripts/build.sh
build/demo/tov_demo "$@"

# Then real Vulkan applications through the Vulkan loader, on Mesa's software driver (lavapipe):
# the project's sample (a compute shader run) in verbose mode, then vulkaninfo in ordinary mode,
# whose logger lines go to standard error, then the sample with a call filter.
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
# The same sample with a call filter: only its recorded commands and its queue's calls.
echo "=== build/loader/tov-log $mode --only 'vkCmd*,vkQueue*' -- build/loader/vk_sample"
build/loader/tov-log $mode --only 'vkCmd*,vkQueue*' -- build/loader/vk_sample

# A Direct3D 12 program on vkd3d: a few frames of vkd3d-gears, on an X server of the demo's own
# when there is no display, closed after 3 frames by libtov_frame_limit.so.
if [ -x /usr/bin/vkd3d-gears ] && [ -f build/vkd3d/libtov_vkd3d.so ]; then
  xvfb_pid=""
  if [ -z "${DISPLAY:-}" ]; then
    display_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
    xvfb_pid=$!
    for _ in $(seq 300); do [ -s "$display_file" ] && break; sleep 0.1; done
    export DISPLAY=":$(cat "$display_file")"
    rm -f "$display_file"
  fi
  echo "=== build/loader/tov-log $mode -- vkd3d-gears (3 frames)"
  TOV_FRAMES=3 LD_PRELOAD="$PWD/build/vkd3d/libtov_frame_limit.so" \
    timeout 120 build/loader/tov-log $mode -- vkd3d-gears || status=$?
  if [ -n "$xvfb_pid" ]; then kill "$xvfb_pid"; wait "$xvfb_pid" 2>/dev/null || true; fi
fi

# Last, a Windows program under Wine: the project's DXGI program clears and presents three frames
# of a swap chain on a hidden window, its calls logged through the Wine host's proxy DLLs. The
# Windows build (build-windows/) gives them; its wine-run gives Wine a prefix, a Wine server and
# an X server of the build's own, which end with the demo.
cmake -S . -B build-windows -G Ninja --toolchain cmake/mingw-w64-x86_64.cmake >/dev/null
cmake --build build-windows --target wine_dlls dxgi_present
echo "=== build/loader/tov-log $mode -- build-windows/bin/dxgi_present.exe (under Wine)"
TOV_WINE=build-windows/wine-run build/loader/tov-log $mode -- build-windows/bin/dxgi_present.exe || status=$?
build-windows/wine-run --stop
exit "${status:-0}"
