# The Windows x64 build (cmake/mingw-w64-x86_64.cmake): what differs from the Linux one.
if(NOT MINGW)
  message(FATAL_ERROR "The Windows build is made with mingw-w64: use cmake/mingw-w64-x86_64.cmake")
endif()

# Programs and DLLs share one folder, as they do next to a Windows host.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_IMPORT_LIBRARY_PREFIX lib)

# The published Vulkan headers are plain text for any target; the cross compiler sees only its
# own system headers, so they are offered through a folder that links to them.
find_path(TOV_VULKAN_HEADERS vulkan/vulkan_core.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH
          REQUIRED)
set(_links ${PROJECT_BINARY_DIR}/published-headers)
file(MAKE_DIRECTORY ${_links})
foreach(_dir vulkan vk_video)
  if(EXISTS ${TOV_VULKAN_HEADERS}/${_dir})
    file(CREATE_LINK ${TOV_VULKAN_HEADERS}/${_dir} ${_links}/${_dir} SYMBOLIC)
  endif()
endforeach()
include_directories(SYSTEM ${_links})

# Import libraries of the host's two DLLs, made from their .def files: the layer links these.
function(tov_import_library target def)
  get_filename_component(_name ${def} NAME_WE)
  set(_lib ${PROJECT_BINARY_DIR}/imports/lib${_name}.a)
  add_custom_command(OUTPUT ${_lib}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/imports
    COMMAND ${CMAKE_DLLTOOL} --input-def ${def} --output-lib ${_lib}
    DEPENDS ${def} COMMENT "Making the import library of ${_name}.dll")
  add_custom_target(${target}_implib DEPENDS ${_lib})
  add_library(${target} INTERFACE)
  add_dependencies(${target} ${target}_implib)
  target_link_libraries(${target} INTERFACE ${_lib})
endfunction()

# GoogleTest from Debian's sources, built for Windows with the rest.
if(TOV_BUILD_TESTS)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  find_path(TOV_GOOGLETEST_SOURCE CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  add_subdirectory(${TOV_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()

# Google Benchmark has no Windows build in Debian: the benchmarks are built when its sources
# are given (TOV_BENCHMARK_SOURCE, a checkout of the release that matches libbenchmark-dev).
set(TOV_BENCHMARK_SOURCE "" CACHE PATH "Google Benchmark sources, for the Windows benchmarks")
if(TOV_BUILD_BENCH AND TOV_BENCHMARK_SOURCE)
  set(BENCHMARK_ENABLE_TESTING OFF CACHE BOOL "" FORCE)
  set(BENCHMARK_ENABLE_INSTALL OFF CACHE BOOL "" FORCE)
  set(BENCHMARK_ENABLE_WERROR OFF CACHE BOOL "" FORCE)
  add_subdirectory(${TOV_BENCHMARK_SOURCE} ${PROJECT_BINARY_DIR}/benchmark EXCLUDE_FROM_ALL)
elseif(TOV_BUILD_BENCH)
  message(STATUS "Windows benchmarks skipped: set TOV_BENCHMARK_SOURCE to Google Benchmark's sources")
  set(TOV_BUILD_BENCH OFF)
endif()

# Tests run under Wine, in a prefix kept inside the build folder.
find_program(TOV_WINE NAMES wine64 wine HINTS /usr/lib/wine REQUIRED)
find_program(TOV_WINESERVER NAMES wineserver HINTS /usr/lib/wine REQUIRED)
set(TOV_WINE_PREFIX ${PROJECT_BINARY_DIR}/wineprefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/wine-run.in ${PROJECT_BINARY_DIR}/wine-run @ONLY
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_BINARY_DIR}/wine-run)

# The layout check of the Direct3D and DXGI declarations runs host compilers: the Linux build
# has it. The Vulkan loader host (loader/) is a Linux program.
set(TOV_BUILD_LAYOUT_CHECK OFF CACHE BOOL "" FORCE)
