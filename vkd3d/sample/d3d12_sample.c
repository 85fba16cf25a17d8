/*
 * A small Direct3D 12 program on vkd3d, without a window: a device, a queue, an allocator, a
 * command list, a render target and a readback buffer, a fence; it clears the target, copies it
 * into the buffer and checks the colour. Then it keeps its own data in a device's private data
 * and reads it back, and last several threads create fences at once.
 *
 *   d3d12_sample [--threads N] [--fences M] [--report-ids]
 *
 * With --report-ids the threads read each fence's capture id (the 8 bytes a host stores under
 * {374D3F62-2ACE-4DF6-B605-9A62B2EA793A}) and the program says how many were tagged and whether
 * they were all distinct. A line "threads" on standard output and on standard error marks where
 * the threads start. The exit status is 0 when every check holds.
 */
#define COBJMACROS
#define INITGUID
#define WIDL_C_INLINE_WRAPPERS
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vkd3d_utils.h>

/* The published function, not the macro of vkd3d_utils.h that turns it into vkd3d's own. */
#undef D3D12CreateDevice
HRESULT WINAPI D3D12CreateDevice(IUnknown *adapter, D3D_FEATURE_LEVEL minimum_feature_level,
        REFIID iid, void **device);

DEFINE_GUID(sample_data_guid, 0x7a3c1f20, 0x5d1e, 0x4b8a, 0x9e, 0x21, 0x6c, 0x0d, 0x44, 0x8b, 0x3f, 0x01);
DEFINE_GUID(capture_id_guid, 0x374d3f62, 0x2ace, 0x4df6, 0xb6, 0x05, 0x9a, 0x62, 0xb2, 0xea, 0x79, 0x3a);

enum { SIZE = 4, ROW_PITCH = 256 };
static const float clear_colour[4] = {0.25f, 0.5f, 0.75f, 1.0f};

static int failed;

static void check(int condition, const char *what)
{
    if (!condition)
    {
        fprintf(stderr, "d3d12_sample: %s\n", what);
        failed = 1;
    }
}

static void check_hr(HRESULT hr, const char *what)
{
    if (FAILED(hr))
    {
        fprintf(stderr, "d3d12_sample: %s failed, hr %#x\n", what, (unsigned int)hr);
        exit(1);
    }
}

static ID3D12Resource *create_resource(ID3D12Device *device, D3D12_HEAP_TYPE heap_type,
        const D3D12_RESOURCE_DESC *desc, D3D12_RESOURCE_STATES state, const D3D12_CLEAR_VALUE *clear)
{
    D3D12_HEAP_PROPERTIES heap = {0};
    ID3D12Resource *resource;

    heap.Type = heap_type;
    check_hr(ID3D12Device_CreateCommittedResource(device, &heap, D3D12_HEAP_FLAG_NONE, desc, state,
            clear, &IID_ID3D12Resource, (void **)&resource), "CreateCommittedResource");
    return resource;
}

/* Clears a render target, copies it into a readback buffer and checks every pixel. */
static void clear_and_read_back(ID3D12Device *device)
{
    D3D12_COMMAND_QUEUE_DESC queue_desc = {0};
    D3D12_DESCRIPTOR_HEAP_DESC heap_desc = {0};
    D3D12_TEXTURE_COPY_LOCATION dst, src;
    D3D12_CPU_DESCRIPTOR_HANDLE rtv;
    ID3D12GraphicsCommandList *list;
    ID3D12CommandAllocator *allocator;
    D3D12_RESOURCE_BARRIER barrier;
    D3D12_RESOURCE_DESC desc = {0};
    ID3D12Resource *target, *readback;
    D3D12_CLEAR_VALUE clear = {0};
    ID3D12DescriptorHeap *heap;
    ID3D12CommandQueue *queue;
    D3D12_RANGE range = {0, 0};
    unsigned int x, y, c;
    ID3D12Fence *fence;
    HANDLE event;
    uint8_t *data;

    queue_desc.Type = D3D12_COMMAND_LIST_TYPE_DIRECT;
    check_hr(ID3D12Device_CreateCommandQueue(device, &queue_desc, &IID_ID3D12CommandQueue,
            (void **)&queue), "CreateCommandQueue");
    check_hr(ID3D12Device_CreateCommandAllocator(device, D3D12_COMMAND_LIST_TYPE_DIRECT,
            &IID_ID3D12CommandAllocator, (void **)&allocator), "CreateCommandAllocator");

    desc.Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
    desc.Width = SIZE;
    desc.Height = SIZE;
    desc.DepthOrArraySize = 1;
    desc.MipLevels = 1;
    desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    desc.SampleDesc.Count = 1;
    desc.Flags = D3D12_RESOURCE_FLAG_ALLOW_RENDER_TARGET;
    clear.Format = desc.Format;
    memcpy(clear.Color, clear_colour, sizeof(clear_colour));
    target = create_resource(device, D3D12_HEAP_TYPE_DEFAULT, &desc, D3D12_RESOURCE_STATE_RENDER_TARGET, &clear);

    memset(&desc, 0, sizeof(desc));
    desc.Dimension = D3D12_RESOURCE_DIMENSION_BUFFER;
    desc.Width = ROW_PITCH * SIZE;
    desc.Height = 1;
    desc.DepthOrArraySize = 1;
    desc.MipLevels = 1;
    desc.SampleDesc.Count = 1;
    desc.Layout = D3D12_TEXTURE_LAYOUT_ROW_MAJOR;
    readback = create_resource(device, D3D12_HEAP_TYPE_READBACK, &desc, D3D12_RESOURCE_STATE_COPY_DEST, NULL);

    heap_desc.Type = D3D12_DESCRIPTOR_HEAP_TYPE_RTV;
    heap_desc.NumDescriptors = 1;
    check_hr(ID3D12Device_CreateDescriptorHeap(device, &heap_desc, &IID_ID3D12DescriptorHeap,
            (void **)&heap), "CreateDescriptorHeap");
    rtv = ID3D12DescriptorHeap_GetCPUDescriptorHandleForHeapStart(heap);
    ID3D12Device_CreateRenderTargetView(device, target, NULL, rtv);

    check_hr(ID3D12Device_CreateCommandList(device, 0, D3D12_COMMAND_LIST_TYPE_DIRECT, allocator, NULL,
            &IID_ID3D12GraphicsCommandList, (void **)&list), "CreateCommandList");
    ID3D12GraphicsCommandList_ClearRenderTargetView(list, rtv, clear_colour, 0, NULL);

    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_TRANSITION;
    barrier.Flags = D3D12_RESOURCE_BARRIER_FLAG_NONE;
    barrier.Transition.pResource = target;
    barrier.Transition.Subresource = D3D12_RESOURCE_BARRIER_ALL_SUBRESOURCES;
    barrier.Transition.StateBefore = D3D12_RESOURCE_STATE_RENDER_TARGET;
    barrier.Transition.StateAfter = D3D12_RESOURCE_STATE_COPY_SOURCE;
    ID3D12GraphicsCommandList_ResourceBarrier(list, 1, &barrier);

    memset(&dst, 0, sizeof(dst));
    dst.pResource = readback;
    dst.Type = D3D12_TEXTURE_COPY_TYPE_PLACED_FOOTPRINT;
    dst.PlacedFootprint.Footprint.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    dst.PlacedFootprint.Footprint.Width = SIZE;
    dst.PlacedFootprint.Footprint.Height = SIZE;
    dst.PlacedFootprint.Footprint.Depth = 1;
    dst.PlacedFootprint.Footprint.RowPitch = ROW_PITCH;
    memset(&src, 0, sizeof(src));
    src.pResource = target;
    src.Type = D3D12_TEXTURE_COPY_TYPE_SUBRESOURCE_INDEX;
    ID3D12GraphicsCommandList_CopyTextureRegion(list, &dst, 0, 0, 0, &src, NULL);
    check_hr(ID3D12GraphicsCommandList_Close(list), "Close");

    check_hr(ID3D12Device_CreateFence(device, 0, D3D12_FENCE_FLAG_NONE, &IID_ID3D12Fence,
            (void **)&fence), "CreateFence");
    ID3D12CommandQueue_ExecuteCommandLists(queue, 1, (ID3D12CommandList **)&list);
    check_hr(ID3D12CommandQueue_Signal(queue, fence, 1), "Signal");
    event = vkd3d_create_event();
    check_hr(ID3D12Fence_SetEventOnCompletion(fence, 1, event), "SetEventOnCompletion");
    check(vkd3d_wait_event(event, VKD3D_INFINITE) == VKD3D_WAIT_OBJECT_0, "the fence was not signalled");
    vkd3d_destroy_event(event);
    check(ID3D12Fence_GetCompletedValue(fence) == 1, "the fence's value is not 1");

    check_hr(ID3D12Resource_Map(readback, 0, &range, (void **)&data), "Map");
    for (y = 0; y < SIZE; ++y)
        for (x = 0; x < SIZE; ++x)
            for (c = 0; c < 4; ++c)
            {
                int expected = (int)(clear_colour[c] * 255.0f + 0.5f), got = data[y * ROW_PITCH + 4 * x + c];
                if (got < expected - 1 || got > expected + 1)
                {
                    check(0, "a pixel read back has another colour than the clear colour");
                    x = y = SIZE;
                    break;
                }
            }
    ID3D12Resource_Unmap(readback, 0, NULL);
    printf("readback: %s\n", failed ? "wrong" : "the clear colour");

    ID3D12Fence_Release(fence);
    ID3D12GraphicsCommandList_Release(list);
    ID3D12DescriptorHeap_Release(heap);
    ID3D12Resource_Release(readback);
    ID3D12Resource_Release(target);
    ID3D12CommandAllocator_Release(allocator);
    ID3D12CommandQueue_Release(queue);
}

/* An empty root signature, through the serializer: a blob, then the device's root signature. */
static void create_root_signature(ID3D12Device *device)
{
    D3D12_ROOT_SIGNATURE_DESC desc = {0};
    ID3D12RootSignature *signature;
    ID3DBlob *blob;

    check_hr(D3D12SerializeRootSignature(&desc, D3D_ROOT_SIGNATURE_VERSION_1_0, &blob, NULL),
            "D3D12SerializeRootSignature");
    check_hr(ID3D12Device_CreateRootSignature(device, 0, ID3D10Blob_GetBufferPointer(blob),
            ID3D10Blob_GetBufferSize(blob), &IID_ID3D12RootSignature, (void **)&signature),
            "CreateRootSignature");
    ID3D10Blob_Release(blob);
    ID3D12RootSignature_Release(signature);
}

static void private_data_round_trip(ID3D12Device *device)
{
    const uint32_t stored = 0x5eed1234;
    uint32_t read = 0;
    UINT size = sizeof(read);

    check_hr(ID3D12Device_SetPrivateData(device, &sample_data_guid, sizeof(stored), &stored), "SetPrivateData");
    check_hr(ID3D12Device_GetPrivateData(device, &sample_data_guid, &size, &read), "GetPrivateData");
    check(size == sizeof(stored) && read == stored, "private data did not come back as stored");
    printf("private data: %s\n", read == stored ? "as stored" : "changed");
}

struct worker
{
    pthread_t thread;
    ID3D12Device *device;
    unsigned int count;
    uint64_t *ids;
};

static void *create_fences(void *arg)
{
    struct worker *w = arg;
    ID3D12Fence *fence;
    unsigned int i;
    UINT size;

    for (i = 0; i < w->count; ++i)
    {
        check_hr(ID3D12Device_CreateFence(w->device, i, D3D12_FENCE_FLAG_NONE, &IID_ID3D12Fence,
                (void **)&fence), "CreateFence");
        size = sizeof(w->ids[i]);
        w->ids[i] = 0;
        if (FAILED(ID3D12Fence_GetPrivateData(fence, &capture_id_guid, &size, &w->ids[i])))
            w->ids[i] = 0;
        ID3D12Fence_Release(fence);
    }
    return NULL;
}

static int compare_ids(const void *a, const void *b)
{
    uint64_t x = *(const uint64_t *)a, y = *(const uint64_t *)b;
    return x < y ? -1 : x > y;
}

static void create_fences_at_once(ID3D12Device *device, unsigned int threads, unsigned int fences,
        int report_ids)
{
    uint64_t *ids = calloc((size_t)threads * fences, sizeof(*ids));
    struct worker *workers = calloc(threads, sizeof(*workers));
    unsigned int i, tagged = 0, distinct = 1;

    for (i = 0; i < threads; ++i)
    {
        workers[i].device = device;
        workers[i].count = fences;
        workers[i].ids = ids + (size_t)i * fences;
        pthread_create(&workers[i].thread, NULL, create_fences, &workers[i]);
    }
    for (i = 0; i < threads; ++i)
        pthread_join(workers[i].thread, NULL);
    qsort(ids, (size_t)threads * fences, sizeof(*ids), compare_ids);
    for (i = 0; i < threads * fences; ++i)
    {
        tagged += ids[i] != 0;
        if (i && ids[i] && ids[i] == ids[i - 1])
            distinct = 0;
    }
    if (report_ids)
        printf("capture ids: %u of %u fences tagged, %s\n", tagged, threads * fences,
                distinct ? "all distinct" : "some repeated");
    free(workers);
    free(ids);
}

int main(int argc, char **argv)
{
    unsigned int threads = 8, fences = 16;
    ID3D12Device *device;
    int report_ids = 0, i;

    for (i = 1; i < argc; ++i)
    {
        if (!strcmp(argv[i], "--threads") && i + 1 < argc)
            threads = atoi(argv[++i]);
        else if (!strcmp(argv[i], "--fences") && i + 1 < argc)
            fences = atoi(argv[++i]);
        else if (!strcmp(argv[i], "--report-ids"))
            report_ids = 1;
        else
        {
            fprintf(stderr, "usage: d3d12_sample [--threads N] [--fences M] [--report-ids]\n");
            return 2;
        }
    }

    check_hr(D3D12CreateDevice(NULL, D3D_FEATURE_LEVEL_11_0, &IID_ID3D12Device, (void **)&device),
            "D3D12CreateDevice");
    clear_and_read_back(device);
    create_root_signature(device);
    private_data_round_trip(device);

    printf("threads\n");
    fflush(stdout);
    fprintf(stderr, "threads\n");
    create_fences_at_once(device, threads, fences, report_ids);

    ID3D12Device_Release(device);
    return failed;
}
