// A Direct3D 10 program: compiles a vertex and a pixel shader from HLSL, draws a triangle over
// half of a small render target that it cleared, and checks a pixel on each side.
//
// The device is a Direct3D 10.1 one, made through d3d10_1.dll, which the program loads at run
// time, after it compiled its shaders through d3d10.dll.
//
//   d3d10_draw.exe [--report-ids]
//
// With --report-ids it says how many of its device, render target and view hold an 8-byte record
// in their private data under the capture id's GUID, which a host of the Logging Layer stores.
#include <d3d10_1.h>
#include <d3d10shader.h>
#include <windows.h>

#include "program.h"

using namespace tov::programs;

namespace {

constexpr UINT kSize = 8;
constexpr float kClear[4] = {0.0f, 0.0f, 1.0f, 1.0f};
constexpr unsigned char kBlue[4] = {0, 0, 255, 255};
constexpr unsigned char kGreen[4] = {0, 255, 0, 255};

constexpr char kVertexShader[] =
    "float4 main(float2 position : POSITION) : SV_Position { return float4(position, 0.0, 1.0); }";
constexpr char kPixelShader[] = "float4 main() : SV_Target { return float4(0.0, 1.0, 0.0, 1.0); }";

// The triangle covers the render target's lower left half, below the diagonal.
constexpr float kTriangle[] = {-1.0f, 1.0f, 1.0f, -1.0f, -1.0f, -1.0f};

// {374D3F62-2ACE-4DF6-B605-9A62B2EA793A}
const GUID kCaptureTimeId = {0x374d3f62, 0x2ace, 0x4df6, {0xb6, 0x05, 0x9a, 0x62, 0xb2, 0xea, 0x79, 0x3a}};

template <typename Object>
int Tagged(Object* object) {
    UINT64 id = 0;
    UINT size = sizeof id;
    return object->GetPrivateData(kCaptureTimeId, &size, &id) >= 0 && size == sizeof id && id != 0;
}

ID3D10Blob* Compile(const char* source, const char* profile) {
    ID3D10Blob* code = nullptr;
    ID3D10Blob* errors = nullptr;
    const HRESULT hr = D3D10CompileShader(source, std::strlen(source), "inline", nullptr, nullptr, "main", profile, 0,
                                          &code, &errors);
    if (errors != nullptr) {
        std::printf("%.*s\n", static_cast<int>(errors->GetBufferSize()),
                    static_cast<const char*>(errors->GetBufferPointer()));
        errors->Release();
    }
    CheckHr(hr, "D3D10CompileShader");
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    ID3D10Blob* vertexCode = Compile(kVertexShader, "vs_4_0");
    ID3D10Blob* pixelCode = Compile(kPixelShader, "ps_4_0");
    const HMODULE d3d10_1 = LoadLibraryW(L"d3d10_1.dll");
    Check(d3d10_1 != nullptr, "LoadLibrary d3d10_1.dll");
    using CreateDevice1 = HRESULT(WINAPI*)(IDXGIAdapter*, D3D10_DRIVER_TYPE, HMODULE, UINT, D3D10_FEATURE_LEVEL1, UINT,
                                           ID3D10Device1**);
    const auto create =
        reinterpret_cast<CreateDevice1>(reinterpret_cast<void*>(GetProcAddress(d3d10_1, "D3D10CreateDevice1")));
    Check(create != nullptr, "GetProcAddress D3D10CreateDevice1");
    ID3D10Device1* device = nullptr;
    CheckHr(create(nullptr, D3D10_DRIVER_TYPE_HARDWARE, nullptr, 0, D3D10_FEATURE_LEVEL_10_0, D3D10_1_SDK_VERSION,
                   &device),
            "D3D10CreateDevice1");

    ID3D10VertexShader* vertexShader = nullptr;
    CheckHr(device->CreateVertexShader(vertexCode->GetBufferPointer(), vertexCode->GetBufferSize(), &vertexShader),
            "CreateVertexShader");
    ID3D10PixelShader* pixelShader = nullptr;
    CheckHr(device->CreatePixelShader(pixelCode->GetBufferPointer(), pixelCode->GetBufferSize(), &pixelShader),
            "CreatePixelShader");
    const D3D10_INPUT_ELEMENT_DESC element = {"POSITION", 0, DXGI_FORMAT_R32G32_FLOAT, 0, 0,
                                              D3D10_INPUT_PER_VERTEX_DATA, 0};
    ID3D10InputLayout* layout = nullptr;
    CheckHr(device->CreateInputLayout(&element, 1, vertexCode->GetBufferPointer(), vertexCode->GetBufferSize(),
                                      &layout),
            "CreateInputLayout");
    vertexCode->Release();
    pixelCode->Release();

    D3D10_BUFFER_DESC bufferDesc = {};
    bufferDesc.ByteWidth = sizeof kTriangle;
    bufferDesc.Usage = D3D10_USAGE_IMMUTABLE;
    bufferDesc.BindFlags = D3D10_BIND_VERTEX_BUFFER;
    const D3D10_SUBRESOURCE_DATA vertices = {kTriangle, 0, 0};
    ID3D10Buffer* vertexBuffer = nullptr;
    CheckHr(device->CreateBuffer(&bufferDesc, &vertices, &vertexBuffer), "CreateBuffer");

    D3D10_TEXTURE2D_DESC desc = SquareRgba8<D3D10_TEXTURE2D_DESC>(kSize);
    desc.Usage = D3D10_USAGE_DEFAULT;
    desc.BindFlags = D3D10_BIND_RENDER_TARGET;
    ID3D10Texture2D* target = nullptr;
    CheckHr(device->CreateTexture2D(&desc, nullptr, &target), "CreateTexture2D (render target)");
    ID3D10RenderTargetView* view = nullptr;
    CheckHr(device->CreateRenderTargetView(target, nullptr, &view), "CreateRenderTargetView");
    desc.Usage = D3D10_USAGE_STAGING;
    desc.BindFlags = 0;
    desc.CPUAccessFlags = D3D10_CPU_ACCESS_READ;
    ID3D10Texture2D* staging = nullptr;
    CheckHr(device->CreateTexture2D(&desc, nullptr, &staging), "CreateTexture2D (staging)");

    const UINT stride = 2 * sizeof(float), offset = 0;
    const D3D10_VIEWPORT viewport = {0, 0, kSize, kSize, 0.0f, 1.0f};
    device->OMSetRenderTargets(1, &view, nullptr);
    device->RSSetViewports(1, &viewport);
    device->IASetInputLayout(layout);
    device->IASetVertexBuffers(0, 1, &vertexBuffer, &stride, &offset);
    device->IASetPrimitiveTopology(D3D10_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
    device->VSSetShader(vertexShader);
    device->PSSetShader(pixelShader);
    device->ClearRenderTargetView(view, kClear);
    device->Draw(3, 0);
    device->CopyResource(staging, target);

    D3D10_MAPPED_TEXTURE2D mapped = {};
    CheckHr(staging->Map(0, D3D10_MAP_READ, 0, &mapped), "Map");
    const auto* pixels = static_cast<const unsigned char*>(mapped.pData);
    const bool right = PixelIs(pixels + (kSize - 1) * mapped.RowPitch, kGreen) &&  // lower left
                       PixelIs(pixels + 4 * (kSize - 1), kBlue);                    // upper right
    staging->Unmap(0);
    Check(right, "the drawn pixels are not green below the diagonal and blue above");
    Say("d3d10_draw: a triangle drawn and read back");
    if (HasOption(argc, argv, "--report-ids")) {
        std::printf("capture ids: %d of 3 objects tagged\n", Tagged(device) + Tagged(target) + Tagged(view));
        std::fflush(stdout);
    }

    device->ClearState();
    staging->Release();
    view->Release();
    target->Release();
    vertexBuffer->Release();
    layout->Release();
    pixelShader->Release();
    vertexShader->Release();
    Check(device->Release() == 0, "the device is still referenced");
    return 0;
}
