# Vulkan: hooks and value printers generated from api/vulkan, split into parts so that a build
# uses both cores.
set(TOV_VULKAN_HOOK_PARTS 4)
set(TOV_VULKAN_PRINTER_PARTS 3)
set(_vk_hooks "")
math(EXPR _last "${TOV_VULKAN_HOOK_PARTS} - 1")
foreach(k RANGE ${_last})
  list(APPEND _vk_hooks ${TOV_GEN_DIR}/vulkan_hooks_${k}.cpp)
  list(APPEND TOV_STORE_PARTS vulkan_${k})
endforeach()
set(_vk_printers ${TOV_GEN_DIR}/vulkan_printers.h ${TOV_GEN_DIR}/vulkan_enum_printers.cpp)
math(EXPR _last "${TOV_VULKAN_PRINTER_PARTS} - 1")
foreach(k RANGE ${_last})
  list(APPEND _vk_printers ${TOV_GEN_DIR}/vulkan_struct_printers_${k}.cpp)
endforeach()
set(_vk_rules ${TOV_TOOLS_DIR}/vkrules.py ${TOV_GEN_COMMON})

add_custom_command(
  OUTPUT ${_vk_hooks}
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_hooks.py ${TOV_GEN_DIR} ${TOV_VULKAN_HOOK_PARTS}
  DEPENDS ${TOV_TOOLS_DIR}/gen_hooks.py ${_vk_rules}
  COMMENT "Generating Vulkan hooks")
add_custom_command(
  OUTPUT ${_vk_printers}
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_vulkan_printers.py ${TOV_GEN_DIR}
          ${TOV_VULKAN_PRINTER_PARTS}
  DEPENDS ${TOV_TOOLS_DIR}/gen_vulkan_printers.py ${_vk_rules}
  COMMENT "Generating Vulkan printers")
list(APPEND TOV_LAYER_SOURCES ${_vk_printers} ${_vk_hooks})
