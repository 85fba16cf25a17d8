# COM object printers: a small core, and the per-interface printers generated from api/com.
# Appends to TOV_LAYER_SOURCES like vulkan.cmake.
add_custom_command(
  OUTPUT ${TOV_GEN_DIR}/com_object_printers.h
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_com_object_printers.py
          ${TOV_GEN_DIR}/com_object_printers.h
  DEPENDS ${TOV_TOOLS_DIR}/gen_com_object_printers.py ${TOV_TOOLS_DIR}/comtable.py ${TOV_GEN_COMMON}
  COMMENT "Generating Direct3D and DXGI object printers")
list(APPEND TOV_LAYER_SOURCES ${CMAKE_CURRENT_LIST_DIR}/object_printers.cpp
     ${TOV_GEN_DIR}/com_object_printers.h)
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/object_printers.cpp PROPERTIES
  OBJECT_DEPENDS ${TOV_GEN_DIR}/com_api.h)
