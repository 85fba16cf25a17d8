#version 450
// Doubles every value of the buffer in place.
layout(local_size_x = 64) in;
layout(std430, set = 0, binding = 0) buffer Values { uint values[]; };
layout(push_constant) uniform Count { uint count; };
void main() {
    uint i = gl_GlobalInvocationID.x;
    if (i < count) values[i] *= 2u;
}
