# Independent evidence for the declarations: compile them next to two other sets of published
# headers and assert, for every record, interface and enum both declare, equal sizes, field
# offsets, virtual-table positions and enumerator values. mingw-w64's headers cover Direct3D 10,
# 11 and DXGI (their Direct3D 12 stops at ID3D12Device1); Microsoft's own headers of
# directx-headers-dev cover Direct3D 12. Each generated unit ends with the names its headers do
# not declare. mingw-w64 10.0 gives D3D11_FENCE_FLAG_NONE the value 1 where the Windows SDK
# has 0, so that one enumerator is left out of its comparison.
option(TOV_BUILD_LAYOUT_CHECK "Check the Direct3D and DXGI declarations against published headers" ON)
if(NOT TOV_BUILD_LAYOUT_CHECK)
  return()
endif()

find_program(TOV_MINGW_CXX x86_64-w64-mingw32-g++)
find_path(TOV_MINGW_INCLUDE d3d11_4.h PATHS /usr/share/mingw-w64/include
          /usr/x86_64-w64-mingw32/include NO_DEFAULT_PATH)
find_path(TOV_DIRECTX_INCLUDE directx/d3d12.h)
find_path(TOV_WSL_STUBS unknwn.h PATHS /usr/include/wsl/stubs NO_DEFAULT_PATH)

set(_here ${CMAKE_CURRENT_LIST_DIR})
set(_gen ${TOV_TOOLS_DIR}/gen_layout_check.py)
set(_decls ${PROJECT_BINARY_DIR}/src/generated)
set(_outs "")

if(TOV_MINGW_CXX AND TOV_MINGW_INCLUDE)
  set(_h ${TOV_MINGW_INCLUDE})
  set(_out ${TOV_TEST_GEN_DIR}/layout_mingw.cpp)
  tov_generate(SCRIPT ${_gen} OUTPUTS ${_out}
    ARGS ${_out} ${_here}/layout_mingw_prelude.h "I?D3D12\\w*|D3D11_FENCE_FLAG_NONE"
         ${_h}/unknwn.h ${_h}/d3dcommon.h ${_h}/d3d10.h ${_h}/d3d10_1.h ${_h}/d3d10misc.h
         ${_h}/d3d11.h ${_h}/d3d11_1.h ${_h}/d3d11_2.h ${_h}/d3d11_3.h ${_h}/d3d11_4.h
         ${_h}/d3d11on12.h ${_h}/dxgi.h ${_h}/dxgi1_2.h ${_h}/dxgi1_3.h ${_h}/dxgi1_4.h
         ${_h}/dxgi1_5.h ${_h}/dxgi1_6.h ${_h}/dxgitype.h ${_h}/dxgiformat.h ${_h}/dxgicommon.h
         ${_h}/windef.h ${_h}/winnt.h
    COMMENT "Generating the layout check against mingw-w64's headers")
  list(APPEND _outs ${_out})
  add_test(NAME com_layout_matches_mingw_headers
    COMMAND ${TOV_MINGW_CXX} -std=c++20 -fsyntax-only -I${_decls}
            -I${PROJECT_SOURCE_DIR}/src/com_values -I${PROJECT_SOURCE_DIR}/platform/include ${_out})
else()
  message(STATUS "Layout check against mingw-w64 skipped: install g++-mingw-w64-x86-64")
endif()

if(TOV_DIRECTX_INCLUDE AND TOV_WSL_STUBS)
  set(_h ${TOV_DIRECTX_INCLUDE}/directx)
  set(_out ${TOV_TEST_GEN_DIR}/layout_directx.cpp)
  tov_generate(SCRIPT ${_gen} OUTPUTS ${_out}
    ARGS ${_out} ${_here}/layout_directx_prelude.h
         "(?!(I?D3D12|D3D_|DXGI_FORMAT\\b|DXGI_SAMPLE_DESC\\b|DXGI_RATIONAL\\b|LUID\\b|RECT\\b)).*"
         ${_h}/d3d12.h ${_h}/d3dcommon.h ${_h}/dxgiformat.h ${_h}/dxgicommon.h
         ${TOV_WSL_STUBS}/basetsd.h
    COMMENT "Generating the layout check against directx-headers")
  list(APPEND _outs ${_out})
  add_test(NAME com_layout_matches_directx_headers
    COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -fsyntax-only -I${TOV_WSL_STUBS} -I${_h}
            -I${_decls} -I${PROJECT_SOURCE_DIR}/src/com_values -I${PROJECT_SOURCE_DIR}/platform/include ${_out})
else()
  message(STATUS "Layout check against directx-headers skipped: install directx-headers-dev")
endif()

if(_outs)
  add_custom_target(com_layout_check ALL DEPENDS ${_outs})
  add_dependencies(com_layout_check tov_com_api_header)
endif()
