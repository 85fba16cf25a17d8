// A Direct3D 11 program: clears a small render target, copies it into a staging texture and
// reads the pixels back on the CPU.
//
//   d3d11_readback.exe [--unknown-interface]
//
// With --unknown-interface it also asks the device for an interface that the Direct3D headers
// do not publish (Wine's own IWineDXGIDeviceParent) and releases it again.
#include <d3d11.h>

#include "program.h"

using namespace tov::programs;

namespace {

// Wine's own IWineDXGIDeviceParent {f2b918f3-603f-430a-9ccd-55872b6e85df}, which its Direct3D 11
// device answers: an interface of no published header.
const GUID kWineDxgiDeviceParent = {0xf2b918f3, 0x603f, 0x430a, {0x9c, 0xcd, 0x55, 0x87, 0x2b, 0x6e, 0x85, 0xdf}};

constexpr UINT kSize = 4;
constexpr float kClear[4] = {0.25f, 0.5f, 0.75f, 1.0f};
constexpr unsigned char kExpected[4] = {64, 128, 191, 255};

}  // namespace

int main(int argc, char** argv) {
    const D3D_FEATURE_LEVEL levels[] = {D3D_FEATURE_LEVEL_11_0, D3D_FEATURE_LEVEL_10_0};
    ID3D11Device* device = nullptr;
    ID3D11DeviceContext* context = nullptr;
    D3D_FEATURE_LEVEL level = {};
    CheckHr(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, levels, 2, D3D11_SDK_VERSION,
                              &device, &level, &context),
            "D3D11CreateDevice");

    D3D11_TEXTURE2D_DESC desc = SquareRgba8<D3D11_TEXTURE2D_DESC>(kSize);
    desc.Usage = D3D11_USAGE_DEFAULT;
    desc.BindFlags = D3D11_BIND_RENDER_TARGET;
    ID3D11Texture2D* target = nullptr;
    CheckHr(device->CreateTexture2D(&desc, nullptr, &target), "CreateTexture2D (render target)");
    ID3D11RenderTargetView* view = nullptr;
    CheckHr(device->CreateRenderTargetView(target, nullptr, &view), "CreateRenderTargetView");

    desc.Usage = D3D11_USAGE_STAGING;
    desc.BindFlags = 0;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    ID3D11Texture2D* staging = nullptr;
    CheckHr(device->CreateTexture2D(&desc, nullptr, &staging), "CreateTexture2D (staging)");

    context->OMSetRenderTargets(1, &view, nullptr);
    context->ClearRenderTargetView(view, kClear);
    context->CopyResource(staging, target);
    D3D11_MAPPED_SUBRESOURCE mapped = {};
    CheckHr(context->Map(staging, 0, D3D11_MAP_READ, 0, &mapped), "Map");
    int right = 0;
    for (UINT y = 0; y < kSize; ++y)
        for (UINT x = 0; x < kSize; ++x)
            right += PixelIs(static_cast<const unsigned char*>(mapped.pData) + y * mapped.RowPitch + 4 * x, kExpected);
    context->Unmap(staging, 0);
    Check(right == kSize * kSize, "the read back pixels are not the clear colour");
    Say("d3d11_readback: 16 pixels read back");

    if (HasOption(argc, argv, "--unknown-interface")) {
        IUnknown* unknown = nullptr;
        if (device->QueryInterface(kWineDxgiDeviceParent, reinterpret_cast<void**>(&unknown)) >= 0) {
            unknown->AddRef();
            unknown->Release();
            unknown->Release();
            Say("d3d11_readback: an unpublished interface answered");
        } else {
            Say("d3d11_readback: no unpublished interface");
        }
    }

    context->ClearState();
    staging->Release();
    view->Release();
    target->Release();
    context->Release();
    Check(device->Release() == 0, "the device is still referenced");
    return 0;
}
