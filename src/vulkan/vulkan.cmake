# Vulkan: hooks generated from api/vulkan, split into parts so that a build uses both cores.
set(TOV_VULKAN_HOOK_PARTS 4)
set(_vk_hooks "")
math(EXPR _last "${TOV_VULKAN_HOOK_PARTS} - 1")
foreach(k RANGE ${_last})
  list(APPEND _vk_hooks ${TOV_GEN_DIR}/vulkan_hooks_${k}.cpp)
  list(APPEND TOV_STORE_PARTS vulkan_${k})
endforeach()
add_custom_command(
  OUTPUT ${_vk_hooks}
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_hooks.py ${TOV_GEN_DIR} ${TOV_VULKAN_HOOK_PARTS}
  DEPENDS ${TOV_TOOLS_DIR}/gen_hooks.py ${TOV_GEN_COMMON}
  COMMENT "Generating Vulkan hooks")
list(APPEND TOV_LAYER_SOURCES ${_vk_hooks})
