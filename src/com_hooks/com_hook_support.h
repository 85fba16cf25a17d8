// What every generated Direct3D and DXGI hook uses: the dispatch table, the verbose flag, the
// printers (core, enums, objects, structures), the host logger and the declarations of the APIs.
#pragma once

#include <cstdint>
#include <iostream>
#include <string>

#include "com_api.h"
#include "com_enum_printers.h"
#include "com_object_printers.h"
#include "com_struct_printers.h"
#include "layer_state.h"
#include "object_printers.h"
#include "printers.h"
#include "tov/journal.h"
