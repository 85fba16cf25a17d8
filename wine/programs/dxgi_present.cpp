// A DXGI program: a swap chain on a hidden window, whose back buffer is cleared, read back and
// presented, frame by frame, alternately through Present and Present1.
//
//   dxgi_present.exe [--frames N]     N frames (3 if not given), each checked
//   dxgi_present.exe --time N [--repeat R]
//                                     R loops (1 if not given) of N frames of a clear and a
//                                     present, timed: prints the mean time of a frame in
//                                     microseconds, of the median loop
#include <d3d11.h>
#include <dxgi1_2.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "program.h"

using namespace tov::programs;

namespace {

constexpr UINT kSize = 64;

HWND HiddenWindow() {
    WNDCLASSW window = {};
    window.lpfnWndProc = DefWindowProcW;
    window.hInstance = GetModuleHandleW(nullptr);
    window.lpszClassName = L"tov_dxgi_present";
    RegisterClassW(&window);
    // Not shown: a swap chain needs a window, not a place on the screen.
    return CreateWindowW(L"tov_dxgi_present", L"dxgi_present", WS_OVERLAPPEDWINDOW, 0, 0, kSize, kSize,
                         nullptr, nullptr, window.hInstance, nullptr);
}

int FrameCount(int argc, char** argv, const char* option, int otherwise) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], option) == 0) return std::atoi(argv[i + 1]);
    return otherwise;
}

}  // namespace

int main(int argc, char** argv) {
    const int timed = FrameCount(argc, argv, "--time", 0);
    const int frames = timed > 0 ? timed : FrameCount(argc, argv, "--frames", 3);
    const int repeat = std::max(1, FrameCount(argc, argv, "--repeat", 1));

    IDXGIFactory2* factory = nullptr;
    CheckHr(CreateDXGIFactory1(IID_IDXGIFactory2, reinterpret_cast<void**>(&factory)), "CreateDXGIFactory1");
    IDXGIAdapter1* adapter = nullptr;
    CheckHr(factory->EnumAdapters1(0, &adapter), "EnumAdapters1");
    ID3D11Device* device = nullptr;
    ID3D11DeviceContext* context = nullptr;
    CheckHr(D3D11CreateDevice(adapter, D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION, &device,
                              nullptr, &context),
            "D3D11CreateDevice");

    const HWND window = HiddenWindow();
    Check(window != nullptr, "CreateWindow");
    DXGI_SWAP_CHAIN_DESC1 desc = {};
    desc.Width = desc.Height = kSize;
    desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    desc.SampleDesc.Count = 1;
    desc.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
    desc.BufferCount = 2;
    desc.SwapEffect = DXGI_SWAP_EFFECT_FLIP_DISCARD;
    IDXGISwapChain1* swapChain = nullptr;
    CheckHr(factory->CreateSwapChainForHwnd(device, window, &desc, nullptr, nullptr, &swapChain),
            "CreateSwapChainForHwnd");

    D3D11_TEXTURE2D_DESC readable = SquareRgba8<D3D11_TEXTURE2D_DESC>(kSize);
    readable.Usage = D3D11_USAGE_STAGING;
    readable.CPUAccessFlags = D3D11_CPU_ACCESS_READ;

    if (timed > 0) {
        // The loop of a program that draws nothing: a clear of the back buffer and a present.
        ID3D11Texture2D* buffer = nullptr;
        CheckHr(swapChain->GetBuffer(0, IID_ID3D11Texture2D, reinterpret_cast<void**>(&buffer)), "GetBuffer");
        ID3D11RenderTargetView* view = nullptr;
        CheckHr(device->CreateRenderTargetView(buffer, nullptr, &view), "CreateRenderTargetView");
        const float colour[4] = {0.0f, 0.5f, 1.0f, 1.0f};
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        std::vector<double> times;
        for (int loop = 0; loop < repeat; ++loop) {
            LARGE_INTEGER start, end;
            QueryPerformanceCounter(&start);
            for (int frame = 0; frame < frames; ++frame) {
                context->ClearRenderTargetView(view, colour);
                CheckHr(swapChain->Present(0, 0), "Present");
            }
            QueryPerformanceCounter(&end);
            times.push_back(1e6 * static_cast<double>(end.QuadPart - start.QuadPart) / frequency.QuadPart / frames);
        }
        std::sort(times.begin(), times.end());
        std::printf("frame time: %.1f us\n", times[times.size() / 2]);
        view->Release();
        buffer->Release();
    }
    for (int frame = 0; timed == 0 && frame < frames; ++frame) {
        ID3D11Texture2D* buffer = nullptr;
        CheckHr(swapChain->GetBuffer(0, IID_ID3D11Texture2D, reinterpret_cast<void**>(&buffer)), "GetBuffer");
        ID3D11RenderTargetView* view = nullptr;
        CheckHr(device->CreateRenderTargetView(buffer, nullptr, &view), "CreateRenderTargetView");
        // A colour of its own for each frame.
        const unsigned char shade = static_cast<unsigned char>(32 * (frame % 8));
        const float colour[4] = {shade / 255.0f, 1.0f - shade / 255.0f, 0.5f, 1.0f};
        context->ClearRenderTargetView(view, colour);
        // A staging texture of each frame's own: Wine's Direct3D 11 on Vulkan reads a staging
        // texture that was mapped once from its old copy after a second CopyResource.
        ID3D11Texture2D* staging = nullptr;
        CheckHr(device->CreateTexture2D(&readable, nullptr, &staging), "CreateTexture2D (staging)");
        context->CopyResource(staging, buffer);
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        CheckHr(context->Map(staging, 0, D3D11_MAP_READ, 0, &mapped), "Map");
        const unsigned char expected[4] = {shade, static_cast<unsigned char>(255 - shade), 128, 255};
        const auto* pixels = static_cast<const unsigned char*>(mapped.pData);
        const bool right = PixelIs(pixels, expected) &&
                           PixelIs(pixels + (kSize - 1) * mapped.RowPitch + 4 * (kSize - 1), expected);
        context->Unmap(staging, 0);
        staging->Release();
        Check(right, "the back buffer's pixels are not the frame's colour");
        view->Release();
        buffer->Release();
        if (frame % 2 == 0) {
            CheckHr(swapChain->Present(0, 0), "Present");
        } else {
            const DXGI_PRESENT_PARAMETERS parameters = {};
            CheckHr(swapChain->Present1(0, 0, &parameters), "Present1");
        }
    }
    if (timed == 0) Say("dxgi_present: frames presented, their pixels read back");

    swapChain->Release();
    context->Release();
    device->Release();
    adapter->Release();
    factory->Release();
    DestroyWindow(window);
    return 0;
}
