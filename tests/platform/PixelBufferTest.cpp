#include <algorithm>
#include <cstring>
#include <set>
#include <span>
#include <thread>
#include <tuple>

#include <tests/support/Frames.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/platform/corevideo/CVMetalTextureCache.h>

namespace ondrix {
namespace {

constexpr OSType bgra = kCVPixelFormatType_32BGRA;
constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

/// A format's name states its layout, which the rest of its row in the table must match.
TEST(PixelFormat, HasTheLayoutThatItsNameStates) {
    for (std::uint64_t raw = 0; raw < 300; ++raw) {
        const auto info = pixelFormatInfo(static_cast<MTLPixelFormat>(raw));
        if (!info) continue;
        const std::string components = info->blueFirst ? "BGRA" : std::string("RGBA").substr(0, info->components);
        const int bits = info->bytesPerPixel * 8 / info->components;
        const MTLComponentType type = info->componentType;
        const bool isUnorm = type == MTLComponentType::unorm8 || type == MTLComponentType::unorm16;
        EXPECT_EQ(info->name, "MTLPixelFormat" + components + std::to_string(bits) + (isUnorm ? "Unorm" : "Float") +
                                  (info->sRGB ? "_sRGB" : ""));
        EXPECT_EQ(bits, type == MTLComponentType::unorm8    ? 8
                        : type == MTLComponentType::float32 ? 32
                                                            : 16)
            << info->name;
    }
    EXPECT_EQ(description(MTLPixelFormat::bgra8Unorm), "MTLPixelFormatBGRA8Unorm (80)");
    EXPECT_EQ(description(static_cast<MTLPixelFormat>(999)), "MTLPixelFormat (999)");
}

class PixelBufferLayout : public testing::TestWithParam<std::tuple<OSType, std::int64_t, std::int64_t>> {};

/// Writes each plane from its first byte to the 64th past its last row. Planes that overlap or are too short show as a
/// wrong byte or to AddressSanitizer.
TEST_P(PixelBufferLayout, PlanesAreApartAlignedAndPadded) {
    const auto [format, side, alignment] = GetParam();
    CVAttributes attributes;
    if (alignment > 0) attributes[kCVPixelBufferBytesPerRowAlignmentKey] = alignment;
    std::shared_ptr<CVPixelBuffer> buffer;
    ASSERT_EQ(CVPixelBufferCreate(side, side + 2, format, &attributes, &buffer), kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferGetPlaneCount(*buffer), format == bgra ? 0 : 2);
    const auto surface = CVPixelBufferGetIOSurface(buffer);
    const PixelBufferLock lock(buffer);
    std::vector<std::span<std::uint8_t>> planes;
    for (std::uint64_t plane = 0; plane < surface->planeCount(); ++plane) {
        const std::int64_t divisor = plane == 0 ? 1 : 2, stride = lock.bytesPerRow(plane);
        EXPECT_EQ(lock.width(plane), (side + divisor - 1) / divisor);
        EXPECT_EQ(lock.height(plane), (side + 2 + divisor - 1) / divisor);
        EXPECT_GE(stride, lock.width(plane) * (format == bgra ? 4 : divisor));
        EXPECT_EQ(stride % (alignment > 0 ? alignment : 64), 0);
        EXPECT_EQ(lock.bytes(plane), surface->baseAddressOfPlane(plane));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lock.bytes(plane)) % 64, 0u);
        planes.emplace_back(lock.bytes(plane), stride * lock.height(plane) + 64);
        std::ranges::fill(planes.back(), plane + 1);
    }
    ASSERT_EQ(planes.size(), format == bgra ? 1u : 2u);
    EXPECT_TRUE(planes[0].front() == 1 && planes[0].back() == 1) << "overwritten by the plane after it";
}

INSTANTIATE_TEST_SUITE_P(Sizes, PixelBufferLayout,
                         testing::Combine(testing::Values(bgra, nv12), testing::Values(1, 2, 127, 1024),
                                          testing::Values(0, 1, 64, 4096)));

TEST(PixelBuffer, RefusesWhatItCanNotMake) {
    constexpr auto nv12FullRange = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
    const std::tuple<std::int64_t, std::int64_t, OSType, CVAttributes, CVReturn> cases[] = {
        {0, 1, bgra, {}, kCVReturnInvalidSize},
        {16385, 1, bgra, {}, kCVReturnInvalidSize},
        {16384, 1, nv12FullRange, {}, kCVReturnSuccess},
        {1, 1, 0x52474220, {}, kCVReturnInvalidPixelFormat},
        {1, 1, bgra, {{kCVPixelBufferBytesPerRowAlignmentKey, 48}}, kCVReturnInvalidPixelBufferAttributes},
        {1, 1, bgra, {{kCVPixelBufferIOSurfacePropertiesKey, 1}}, kCVReturnInvalidPixelBufferAttributes},
        {1, 1, bgra, {{kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}}, {"Other", 7}}, kCVReturnSuccess},
    };
    for (const auto& [width, height, format, attributes, expected] : cases) {
        auto buffer = test::frame(1, 1);
        EXPECT_EQ(CVPixelBufferCreate(width, height, format, &attributes, &buffer), expected);
        EXPECT_EQ(buffer != nullptr, expected == kCVReturnSuccess);
    }
}

TEST(PixelBuffer, ShowsItsAddressesOnlyWhileLocked) {
    const auto buffer = test::frame(4, 4, nv12);
    EXPECT_EQ(CVPixelBufferGetBaseAddress(*buffer), nullptr);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(*buffer, 0), kCVReturnError);
    CVPixelBufferLockBaseAddress(*buffer, 0);
    CVPixelBufferLockBaseAddress(*buffer, kCVPixelBufferLock_ReadOnly);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(*buffer, kCVPixelBufferLock_ReadOnly), kCVReturnSuccess);
    EXPECT_NE(CVPixelBufferGetBaseAddressOfPlane(*buffer, 1), nullptr);
    for (const int plane : {-1, 2}) {
        EXPECT_EQ(CVPixelBufferGetBaseAddressOfPlane(*buffer, plane), nullptr);
        EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(*buffer, plane), 0);
    }
    { const PixelBufferLock lock(*buffer, kCVPixelBufferLock_ReadOnly); }
    CVPixelBufferUnlockBaseAddress(*buffer, 0);
    EXPECT_EQ(CVPixelBufferGetBaseAddressOfPlane(*buffer, 1), nullptr);
}

const CVAttributes buffersOfThePool{
    {kCVPixelBufferPixelFormatTypeKey, std::int64_t{bgra}}, {kCVPixelBufferWidthKey, 16}, {kCVPixelBufferHeightKey, 8}};

std::shared_ptr<CVPixelBufferPool> makePool(std::int64_t minimumCount) {
    const CVAttributes attributes{{kCVPixelBufferPoolMinimumBufferCountKey, minimumCount}};
    std::shared_ptr<CVPixelBufferPool> pool;
    EXPECT_EQ(CVPixelBufferPoolCreate(&attributes, &buffersOfThePool, &pool), kCVReturnSuccess);
    return pool;
}

std::shared_ptr<CVPixelBuffer> take(CVPixelBufferPool& pool) {
    std::shared_ptr<CVPixelBuffer> buffer;
    EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(pool, &buffer), kCVReturnSuccess);
    return buffer;
}

TEST(PixelBufferPool, RefusesAttributesOutOfRange) {
    const std::pair<const char*, CVAttributes::mapped_type> cases[] = {
        {kCVPixelBufferWidthKey, 0},
        {kCVPixelBufferHeightKey, CVEmptyDictionary{}},
        {kCVPixelBufferPixelFormatTypeKey, std::int64_t{bgra} + (std::int64_t{1} << 32)},
        {kCVPixelBufferBytesPerRowAlignmentKey, 8192},
        {kCVPixelBufferPoolMinimumBufferCountKey, -1},
        {kCVPixelBufferPoolMinimumBufferCountKey, CVEmptyDictionary{}},
    };
    for (const auto& [key, value] : cases) {
        const bool ofThePool = key == std::string_view(kCVPixelBufferPoolMinimumBufferCountKey);
        const CVReturn expected = ofThePool ? kCVReturnInvalidPoolAttributes : kCVReturnInvalidPixelBufferAttributes;
        CVAttributes pools, buffers = buffersOfThePool;
        (ofThePool ? pools : buffers)[key] = value;
        auto pool = makePool(0);
        EXPECT_EQ(CVPixelBufferPoolCreate(&pools, &buffers, &pool), expected) << key;
        EXPECT_EQ(pool, nullptr);
        if (!buffersOfThePool.contains(key)) continue;
        buffers.erase(key);
        EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, &buffers, &pool), expected) << "without " << key;
    }
}

TEST(PixelBufferPool, TakesBuffersBackWhenTheLastHolderLetsGo) {
    auto pool = makePool(2);
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 2);
    auto first = take(*pool);
    const auto second = take(*pool), third = take(*pool);
    EXPECT_EQ((std::set{first.get(), second.get(), third.get()}).size(), 3u);
    CVPixelBuffer* const address = first.get();
    CVPixelBufferLockBaseAddress(*first, 0);
    auto surface = CVPixelBufferGetIOSurface(first);
    first.reset();
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 0) << "a surface holds its buffer";
    std::thread([&] { surface.reset(); }).join();
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 1);
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 2);
    const auto again = take(*pool);
    EXPECT_EQ(again.get(), address);
    EXPECT_EQ(CVPixelBufferGetLockCount(*again), 0);
    pool.reset();  // a buffer may outlive it
    std::memset(CVPixelBufferGetIOSurface(again)->baseAddressOfPlane(0), 1, 512);
}

TEST(PixelBuffer, OverForeignMemoryReleasesItOnceWhenTheLastHolderLetsGo) {
    const auto device = DeviceManager::shared().defaultDevice();
    std::vector<std::uint8_t> bytes(32);
    int released = 0;
    std::shared_ptr<CVPixelBuffer> buffer;
    const auto release = [&released] { ++released; };
    EXPECT_EQ(CVPixelBufferCreateWithBytes(4, 2, bgra, nullptr, 16, release, &buffer), kCVReturnInvalidArgument);
    EXPECT_EQ(CVPixelBufferCreateWithBytes(4, 2, bgra, bytes.data(), 16, release, &buffer), kCVReturnSuccess);
    auto surface = CVPixelBufferGetIOSurface(buffer);
    auto first = device->textureConverter()->texture(buffer), second = device->textureConverter()->texture(buffer);
    buffer.reset();
    surface.reset();
    first.reset();
    EXPECT_EQ(released, 0);
    std::thread([&second] { second.reset(); }).join();
    EXPECT_EQ(released, 1);
}

class TextureCache : public testing::Test {
protected:
    TextureCache() { EXPECT_EQ(CVMetalTextureCacheCreate(MTLCreateSystemDefaultDevice(), &cache), kCVReturnSuccess); }
    CVReturn wrap(const std::shared_ptr<CVPixelBuffer>& buffer, MTLPixelFormat pixelFormat, std::int64_t width,
                  std::int64_t height, std::int64_t plane) {
        return CVMetalTextureCacheCreateTextureFromImage(*cache, buffer, pixelFormat, width, height, plane, &texture);
    }
    std::shared_ptr<CVMetalTextureCache> cache;
    std::shared_ptr<CVMetalTexture> texture;
};

TEST_F(TextureCache, RefusesPlanesThatAreTooSmall) {
    using enum MTLPixelFormat;
    constexpr CVReturn refused = kCVReturnPixelBufferNotMetalCompatible;
    const std::tuple<OSType, MTLPixelFormat, std::int64_t, std::int64_t, std::int64_t, CVReturn> cases[] = {
        {bgra, bgra8Unorm, 15, 9, 0, kCVReturnSuccess},
        {bgra, bgra8Unorm, 15, 9, 1, refused},
        {bgra, bgra8Unorm, 16, 9, 0, refused},
        {bgra, rgba16Float, 2, 9, 0, refused},
        {bgra, bgra8Unorm, 0, 9, 0, kCVReturnInvalidSize},
        {bgra, invalid, 15, 9, 0, kCVReturnInvalidPixelFormat},
        {nv12, r8Unorm, 15, 9, 0, kCVReturnSuccess},
        {nv12, rg8Unorm, 8, 5, 1, kCVReturnSuccess},
        {nv12, rg8Unorm, 9, 5, 1, refused},
    };
    for (const auto& [format, pixelFormat, width, height, plane, expected] : cases) {
        EXPECT_EQ(wrap(test::frame(15, 9, format), pixelFormat, width, height, plane), expected)
            << description(pixelFormat) << ' ' << width << 'x' << height << " plane " << plane;
        ASSERT_EQ(texture != nullptr, expected == kCVReturnSuccess);
    }
    const auto refusingDevice = std::make_shared<test::RecordingDevice>();
    refusingDevice->refused = {"wrapPlane"};
    CVMetalTextureCacheCreate(refusingDevice, &cache);
    EXPECT_EQ(wrap(test::frame(15, 9), bgra8Unorm, 15, 9, 0), kCVReturnAllocationFailed);
    EXPECT_EQ(CVMetalTextureCacheCreate(nullptr, &cache), kCVReturnInvalidArgument);
    EXPECT_EQ(cache, nullptr);
}

TEST_F(TextureCache, TextureIsTheBufferAndKeepsItFromThePool) {
    const auto pool = makePool(0);
    auto buffer = take(*pool);
    ASSERT_EQ(wrap(buffer, MTLPixelFormat::bgra8Unorm, 15, 7, 0), kCVReturnSuccess);
    auto metalTexture = CVMetalTextureGetTexture(*texture);
    EXPECT_EQ(metalTexture->usage(), MTLTextureUsage::unknown);
    const std::uint32_t pixel = 0x44332211;
    metalTexture->replace(MTLRegionMake2D(14, 6, 1, 1), 0, &pixel, 4);
    EXPECT_EQ(std::memcmp(PixelBufferLock(buffer).row(6) + 14 * 4, &pixel, 4), 0);
    texture.reset();
    buffer.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 1);
    metalTexture.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
}

}  // namespace
}  // namespace ondrix
