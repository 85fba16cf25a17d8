# Direct3D and DXGI enum printers generated from api/com/enums.txt (the pointer printers also
# look at the argument and field declarations). Appends to TOV_LAYER_SOURCES like vulkan.cmake.
set(_com_enum_printers ${TOV_GEN_DIR}/com_enum_printers.h ${TOV_GEN_DIR}/com_enum_printers.cpp)
add_custom_command(
  OUTPUT ${_com_enum_printers}
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_com_enum_printers.py ${TOV_GEN_DIR}
  DEPENDS ${TOV_TOOLS_DIR}/gen_com_enum_printers.py ${TOV_TOOLS_DIR}/comenums.py ${TOV_GEN_COMMON}
  COMMENT "Generating Direct3D and DXGI enum printers")
list(APPEND TOV_LAYER_SOURCES ${_com_enum_printers})
