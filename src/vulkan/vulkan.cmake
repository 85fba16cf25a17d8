# Vulkan: hooks and value printers generated from api/vulkan, split into parts so that a build
# uses both cores. Appends to TOV_LAYER_SOURCES and TOV_STORE_PARTS (in ascending slot order).
tov_parts(_hooks ${TOV_GEN_DIR} vulkan_hooks 4)
tov_parts(_printers ${TOV_GEN_DIR} vulkan_struct_printers 3)
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_hooks.py ARGS vulkan ${TOV_GEN_DIR} 4 OUTPUTS ${_hooks}
  COMMENT "Generating Vulkan hooks")
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_printers.py ARGS vulkan ${TOV_GEN_DIR} 3
  OUTPUTS ${TOV_GEN_DIR}/vulkan_printers.h ${TOV_GEN_DIR}/vulkan_enum_printers.cpp ${_printers}
  COMMENT "Generating Vulkan printers")
list(APPEND TOV_LAYER_SOURCES ${TOV_GEN_DIR}/vulkan_enum_printers.cpp ${_printers} ${_hooks})
list(APPEND TOV_STORE_PARTS vulkan_0 vulkan_1 vulkan_2 vulkan_3)
