# Direct3D and DXGI: hooks of the exported functions and the COM methods, slots 3744 to 8281.
# Appends to TOV_LAYER_SOURCES and TOV_STORE_PARTS (in ascending slot order) like vulkan.cmake.
set(TOV_COM_TOOLS ${TOV_TOOLS_DIR}/comtable.py)

add_custom_command(
  OUTPUT ${TOV_GEN_DIR}/com_api.h
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_com_decls.py ${TOV_GEN_DIR}/com_api.h
  DEPENDS ${TOV_TOOLS_DIR}/gen_com_decls.py ${TOV_COM_TOOLS} ${TOV_GEN_COMMON}
  COMMENT "Generating the Direct3D and DXGI declarations")

# The hooks, split into parts so that a build uses both cores and each part stays small.
set(TOV_COM_HOOK_PARTS 8)
set(_com_hooks "")
math(EXPR _last "${TOV_COM_HOOK_PARTS} - 1")
foreach(k RANGE ${_last})
  list(APPEND _com_hooks ${TOV_GEN_DIR}/com_hooks_${k}.cpp)
  list(APPEND TOV_STORE_PARTS com_${k})
endforeach()
add_custom_command(
  OUTPUT ${_com_hooks} ${TOV_GEN_DIR}/com_hook_bodies.h
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_com_hooks.py ${TOV_GEN_DIR} ${TOV_COM_HOOK_PARTS}
  DEPENDS ${TOV_TOOLS_DIR}/gen_com_hooks.py ${TOV_TOOLS_DIR}/gen_com_decls.py ${TOV_COM_TOOLS}
          ${TOV_TOOLS_DIR}/comhookrules.py ${TOV_TOOLS_DIR}/comenums.py
          ${TOV_API_DIR}/com/hook_rules.txt ${TOV_GEN_COMMON} ${TOV_GEN_DIR}/com_api.h
  COMMENT "Generating Direct3D and DXGI hooks")
list(APPEND TOV_LAYER_SOURCES ${_com_hooks})
# The hooks print through the generated value printers.
set_source_files_properties(${_com_hooks} PROPERTIES
  INCLUDE_DIRECTORIES "${CMAKE_CURRENT_LIST_DIR};${CMAKE_CURRENT_SOURCE_DIR}/com_values"
  OBJECT_DEPENDS "${TOV_GEN_DIR}/com_enum_printers.h;${TOV_GEN_DIR}/com_object_printers.h;${TOV_GEN_DIR}/com_struct_printers.h")

# The declarations, for code outside the layer that talks Direct3D and DXGI (the tests).
add_custom_target(tov_com_api_header DEPENDS ${TOV_GEN_DIR}/com_api.h)
add_library(com_api_headers INTERFACE)
add_dependencies(com_api_headers tov_com_api_header)
target_include_directories(com_api_headers INTERFACE ${TOV_GEN_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/com_values)
target_link_libraries(com_api_headers INTERFACE tov_platform_headers)
