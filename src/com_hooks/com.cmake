# Direct3D and DXGI: hooks of the exported functions and the COM methods, slots 3744 to 8281.
# Appends to TOV_LAYER_SOURCES and TOV_STORE_PARTS (in ascending slot order) like vulkan.cmake.
