# Direct3D and DXGI structure printers generated from api/com (the family is what the method and
# function arguments reach, so the interface table is read too). Appends to TOV_LAYER_SOURCES
# like com_enums.cmake; the printers are split in a few sources to keep each compile short.
set(_com_struct_parts 4)
set(_com_struct_printers ${TOV_GEN_DIR}/com_struct_printers.h)
math(EXPR _last "${_com_struct_parts} - 1")
foreach(_k RANGE ${_last})
  list(APPEND _com_struct_printers ${TOV_GEN_DIR}/com_struct_printers_${_k}.cpp)
endforeach()
add_custom_command(
  OUTPUT ${_com_struct_printers}
  COMMAND Python3::Interpreter ${TOV_TOOLS_DIR}/gen_com_struct_printers.py ${TOV_GEN_DIR}
          ${_com_struct_parts}
  DEPENDS ${TOV_TOOLS_DIR}/gen_com_struct_printers.py ${TOV_TOOLS_DIR}/comrules.py
          ${TOV_TOOLS_DIR}/comenums.py ${TOV_GEN_COMMON}
  COMMENT "Generating Direct3D and DXGI structure printers")
list(APPEND TOV_LAYER_SOURCES ${_com_struct_printers})
