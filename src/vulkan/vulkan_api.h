// The Vulkan declarations the hooks are compiled against: the published headers with the Win32
// types they need, and the project's own spellings on top.
#pragma once

#include "tov/win32.h"

#include <vulkan/vulkan_core.h>
#include <vulkan/vulkan_win32.h>

#include "vulkan_compat.h"
