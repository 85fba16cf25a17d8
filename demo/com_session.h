// The Direct3D side of the demo: one Direct3D 11 frame and one Direct3D 12 frame, each from the
// creation of the device to its present, through the layer's hooks.
#pragma once

#include "testhost.h"

namespace tov::demo {

// Routes the slots it calls to stand-in driver functions of its own, then plays both frames.
void PlayDirect3DSession(testhost::Layer& layer);

}  // namespace tov::demo
