#!/usr/bin/env bash
# Installs what building and testing need on a fresh Debian machine, if it is missing.
# With --windows: also what the Windows build needs (mingw-w64, Wine, clang and lld).
set -euo pipefail
packages=(cmake ninja-build g++ python3 libgtest-dev libgmock-dev libbenchmark-dev libvulkan-dev binutils
  libvulkan1 mesa-vulkan-drivers vulkan-tools glslang-tools
  g++-mingw-w64-x86-64 mingw-w64-x86-64-dev directx-headers-dev
  libvkd3d-dev vkd3d-demos xvfb x11-apps
  chromium   # chromium: only the dump viewer's page test, which runs it headless
  dpkg-dev file)  # the Debian package: cpack's dependency list (dpkg-shlibdeps, file)
if [ "${1:-}" = "--windows" ]; then
  packages+=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 googletest wine64 clang lld util-linux)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq -o DPkg::Lock::Timeout=600 "${missing[@]}" >/dev/null
fi
