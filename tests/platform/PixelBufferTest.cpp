#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <span>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/platform/corevideo/CVMetalTextureCache.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/corevideo/PixelBufferLock.h>

namespace ondrix {
namespace {

constexpr OSType bgra = kCVPixelFormatType_32BGRA;
constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

std::shared_ptr<CVPixelBuffer> makeBuffer(std::int64_t width, std::int64_t height, OSType format) {
    std::shared_ptr<CVPixelBuffer> buffer;
    EXPECT_EQ(CVPixelBufferCreate(width, height, format, nullptr, &buffer), kCVReturnSuccess);
    return buffer;
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
    ASSERT_EQ(surface->planeCount(), format == bgra ? 1u : 2u);

    const PixelBufferLock lock(buffer);
    std::vector<std::span<std::uint8_t>> planes;
    for (std::uint64_t plane = 0; plane < surface->planeCount(); ++plane) {
        const std::int64_t divisor = plane == 0 ? 1 : 2;
        const std::int64_t stride = lock.bytesPerRow(plane);
        EXPECT_EQ(lock.width(plane), (side + divisor - 1) / divisor);
        EXPECT_EQ(lock.height(plane), (side + 2 + divisor - 1) / divisor);
        EXPECT_GE(stride, lock.width(plane) * (format == bgra ? 4 : divisor));
        EXPECT_EQ(stride % (alignment > 0 ? alignment : 64), 0);
        std::uint8_t* const address = lock.bytes(plane);
        EXPECT_EQ(address, surface->baseAddressOfPlane(plane));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address) % 64, 0u);
        planes.emplace_back(address, stride * surface->heightOfPlane(plane) + 64);
        std::ranges::fill(planes.back(), plane + 1);
    }
    for (std::size_t plane = 0; plane < planes.size(); ++plane) {
        EXPECT_EQ(planes[plane].front(), plane + 1);
        EXPECT_EQ(planes[plane].back(), plane + 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, PixelBufferLayout,
                         testing::Combine(testing::Values(bgra, nv12), testing::Values(1, 2, 127, 1024),
                                          testing::Values(0, 1, 64, 4096)));

TEST(PixelBuffer, RefusesWhatItCanNotMake) {
    const CVAttributes badAlignment{{kCVPixelBufferBytesPerRowAlignmentKey, 48}};
    const CVAttributes badKind{{kCVPixelBufferIOSurfacePropertiesKey, 1}};
    const CVAttributes good{{kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}}, {"Unknown", 7}};
    const std::tuple<std::int64_t, std::int64_t, OSType, const CVAttributes*, CVReturn> cases[] = {
        {0, 1, bgra, nullptr, kCVReturnInvalidSize},
        {1, -1, bgra, nullptr, kCVReturnInvalidSize},
        {16385, 1, bgra, nullptr, kCVReturnInvalidSize},
        {16384, 1, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, nullptr, kCVReturnSuccess},
        {1, 1, 0x52474241, nullptr, kCVReturnInvalidPixelFormat},
        {1, 1, bgra, &badAlignment, kCVReturnInvalidPixelBufferAttributes},
        {1, 1, bgra, &badKind, kCVReturnInvalidPixelBufferAttributes},
        {1, 1, bgra, &good, kCVReturnSuccess},
    };
    for (const auto& [width, height, format, attributes, expected] : cases) {
        auto buffer = makeBuffer(1, 1, bgra);
        EXPECT_EQ(CVPixelBufferCreate(width, height, format, attributes, &buffer), expected);
        EXPECT_EQ(buffer != nullptr, expected == kCVReturnSuccess);
    }
}

TEST(PixelBuffer, ShowsItsAddressesOnlyWhileLocked) {
    const auto buffer = makeBuffer(4, 4, nv12);
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
    {
        const PixelBufferLock lock(*buffer, kCVPixelBufferLock_ReadOnly);
        EXPECT_EQ(lock.row(1, 1), lock.bytes(1) + CVPixelBufferGetBytesPerRowOfPlane(*buffer, 1));
        EXPECT_EQ(CVPixelBufferGetLockCount(*buffer), 2);
    }
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
        {kCVPixelBufferHeightKey, 16385},
        {kCVPixelBufferWidthKey, CVEmptyDictionary{}},
        {kCVPixelBufferPixelFormatTypeKey, 0x52474241},
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
        buffers.erase(key);
        if (!buffersOfThePool.contains(key)) continue;
        EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, &buffers, &pool), expected) << "without " << key;
    }
}

TEST(PixelBufferPool, TakesBuffersBackWhenTheLastHolderLetsGo) {
    const auto pool = makePool(2);
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 2);
    auto first = take(*pool);
    const auto second = take(*pool), third = take(*pool);
    EXPECT_EQ((std::set{first.get(), second.get(), third.get()}).size(), 3u);
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 3);
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 0);

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
}

/// No two holders may ever have the same buffer: each writes its own mark and must find it again.
TEST(PixelBufferPool, ServesSeveralThreads) {
    auto pool = makePool(1);
    std::atomic<int> mixedUp = 0;
    std::vector<std::thread> threads;
    for (std::uint8_t mark = 1; mark <= 3; ++mark) {
        threads.emplace_back([pool, mark, &mixedUp] {
            for (int round = 0; round < 1000; ++round) {
                const auto buffer = take(*pool);
                std::uint8_t* const bytes = CVPixelBufferGetIOSurface(buffer)->baseAddressOfPlane(0);
                std::memset(bytes, mark, 512);
                if (bytes[0] != mark || bytes[511] != mark) ++mixedUp;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(mixedUp, 0);
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
    const auto buffer = take(*pool);
    pool.reset();  // a buffer may outlive it
    std::memset(CVPixelBufferGetIOSurface(buffer)->baseAddressOfPlane(0), 1, 512);
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
        {bgra, bgra8Unorm, 15, 9, -1, refused},
        {bgra, bgra8Unorm, 16, 9, 0, refused},
        {bgra, bgra8Unorm, 15, 10, 0, refused},
        {bgra, rgba16Float, 2, 9, 0, refused},
        {bgra, bgra8Unorm, 0, 9, 0, kCVReturnInvalidSize},
        {bgra, bgra8Unorm, 15, -9, 0, kCVReturnInvalidSize},
        {bgra, invalid, 15, 9, 0, kCVReturnInvalidPixelFormat},
        {nv12, r8Unorm, 15, 9, 0, kCVReturnSuccess},
        {nv12, rg8Unorm, 15, 9, 0, refused},
        {nv12, rg8Unorm, 8, 5, 1, kCVReturnSuccess},
        {nv12, rg8Unorm, 9, 5, 1, refused},
        {nv12, rg8Unorm, 8, 6, 1, refused},
    };
    for (const auto& [format, pixelFormat, width, height, plane, expected] : cases) {
        EXPECT_EQ(wrap(makeBuffer(15, 9, format), pixelFormat, width, height, plane), expected)
            << description(pixelFormat) << ' ' << width << 'x' << height << " plane " << plane;
        ASSERT_EQ(texture != nullptr, expected == kCVReturnSuccess);
    }
    const auto refusingDevice = std::make_shared<test::RecordingDevice>();
    refusingDevice->refused = {"wrapPlane"};
    CVMetalTextureCacheCreate(refusingDevice, &cache);
    EXPECT_EQ(wrap(makeBuffer(15, 9, bgra), bgra8Unorm, 15, 9, 0), kCVReturnAllocationFailed);
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
    const std::uint8_t* const row =
        CVPixelBufferGetIOSurface(buffer)->baseAddressOfPlane(0) + 6 * CVPixelBufferGetBytesPerRow(*buffer);
    EXPECT_EQ(std::memcmp(row + 14 * 4, &pixel, 4), 0);
    texture.reset();
    buffer.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 1);
    metalTexture.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
}

}  // namespace
}  // namespace ondrix
