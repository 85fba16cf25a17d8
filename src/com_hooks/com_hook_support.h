// What every generated Direct3D and DXGI hook uses: the dispatch table, the verbose flag, the
// printers, the host logger and the declarations of the APIs.
#pragma once

#include <cstdint>
#include <iostream>

#include "com_api.h"
#include "layer_state.h"
#include "printers.h"
#include "tov/journal.h"
