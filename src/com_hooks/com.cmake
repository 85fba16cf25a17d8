# Direct3D and DXGI: the declarations the layer compiles against on Linux, the object, enum and
# structure printers, and the hooks of the exported functions and the COM methods, slots 3744 to
# 8281. Appends to TOV_LAYER_SOURCES and TOV_STORE_PARTS (in ascending slot order).
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_com_decls.py ARGS ${TOV_GEN_DIR}/com_api.h
  OUTPUTS ${TOV_GEN_DIR}/com_api.h COMMENT "Generating the Direct3D and DXGI declarations")
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_com_object_printers.py ARGS ${TOV_GEN_DIR}/com_object_printers.h
  OUTPUTS ${TOV_GEN_DIR}/com_object_printers.h COMMENT "Generating Direct3D and DXGI object printers")

tov_parts(_printers ${TOV_GEN_DIR} com_struct_printers 4)
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_printers.py ARGS com ${TOV_GEN_DIR} 4
  OUTPUTS ${TOV_GEN_DIR}/com_printers.h ${TOV_GEN_DIR}/com_enum_printers.cpp ${_printers}
  COMMENT "Generating Direct3D and DXGI printers")

# Each hook part instantiates the frames of its slots; each declared method's dump is compiled
# once, in a part of its own, so that a rule's edit recompiles one dump part.
tov_parts(_hooks ${TOV_GEN_DIR} com_hooks 4)
tov_parts(_dumps ${TOV_GEN_DIR} com_dumps 6)
tov_generate(SCRIPT ${TOV_TOOLS_DIR}/gen_hooks.py ARGS com ${TOV_GEN_DIR} 4 6
  OUTPUTS ${_hooks} ${TOV_GEN_DIR}/com_hook_frames.h ${TOV_GEN_DIR}/com_dumps.h ${_dumps}
  COMMENT "Generating Direct3D and DXGI hooks")

list(APPEND TOV_LAYER_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/com_values/object_printers.cpp
     ${TOV_GEN_DIR}/com_api.h ${TOV_GEN_DIR}/com_object_printers.h
     ${TOV_GEN_DIR}/com_enum_printers.cpp ${_printers} ${_dumps} ${_hooks})
list(APPEND TOV_STORE_PARTS com_0 com_1 com_2 com_3)

# The declarations, for code outside the layer that talks Direct3D and DXGI (the tests).
add_custom_target(tov_com_api_header DEPENDS ${TOV_GEN_DIR}/com_api.h ${TOV_GEN_DIR}/com_object_printers.h
                  ${TOV_GEN_DIR}/com_printers.h)
add_library(com_api_headers INTERFACE)
add_dependencies(com_api_headers tov_com_api_header)
target_include_directories(com_api_headers INTERFACE ${TOV_GEN_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/com_values)
target_link_libraries(com_api_headers INTERFACE tov_platform_headers)
