#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/Strips.h>
#include <ondrix/platform/software/TextureUse.h>

namespace ondrix::software {

/// Runs a render pass on all threads of the context. Primitives are set up first, then drawn strip by strip, the load
/// action and all draws of a strip while its pixels are in the cache. Clearing leaves out what the first primitives
/// cover anyway.
class RenderPassRun {
public:
    RenderPassRun(const RenderPassCommand& pass, ExecutionContext& context);

    /// Draws everything; false without memory for it.
    [[nodiscard]] bool run();

    // As a step of a chain: `prepare` once, then `work` for all `rows`, on any thread and in any order.

    /// Whether a pass is simple enough: one draw of a few primitives, whose texture is read by rows.
    [[nodiscard]] static bool fitsChains(const RenderPassCommand& pass) noexcept;
    /// Sets the primitives up, after those that the context has. False without memory, or if there are too many.
    [[nodiscard]] bool prepare();
    void work(RowRange rows, void* scratch) const { draw(rows.y0, rows.y1, scratch); }
    /// The rows that are cleared or drawn.
    [[nodiscard]] RowRange rows() const noexcept;
    [[nodiscard]] std::int64_t bytesPerRow() const noexcept { return bytesPerRow_; }
    [[nodiscard]] std::int64_t bytes() const noexcept {
        return bytes_ + pass_.target.bytesPerRow * pass_.target.height;
    }
    void keepInCaches() noexcept { streaming_ = false; }

    /// How the first varying's second coordinate runs over the rows of the target.
    enum class Course { none, along, opposite };
    [[nodiscard]] Course course() const noexcept;
    /// The rows of a texture of this height that are sampled for these rows of the target, and a few more.
    [[nodiscard]] RowRange sampledRows(RowRange rows, std::int32_t height) const noexcept;

private:
    /// One colour in the memory layout of a target's format, ready to be written over stretches of pixels. Components
    /// of 8-bit formats are clamped and rounded to nearest, those of sRGB formats are encoded; not-a-number becomes 0
    /// there.
    class ClearPixel {
    public:
        ClearPixel() = default;
        ClearPixel(const shading::TextureView& target, const MTLClearColor& color) noexcept;

        /// Writes the pixels x0 <= x < x1 of row `y`, which must lie in the target.
        void fill(const shading::TextureView& target, std::int32_t y, std::int32_t x0, std::int32_t x1) const noexcept;

    private:
        static constexpr std::size_t patternSize = 256;  ///< a multiple of every pixel size

        alignas(64) std::array<std::uint8_t, patternSize> pattern_{};
        std::size_t bytesPerPixel_ = 1;
    };

    void setUp(const DrawCommand& draw);
    void flush();
    void reset();
    [[nodiscard]] std::span<const PrimitiveGroup> groups() const noexcept;
    static void strip(void* context, int strip, void* scratch);
    void draw(std::int32_t y0, std::int32_t y1, void* scratch) const;
    void clear(std::int32_t y0, std::int32_t y1, const shading::Span* spans, int count) const;

    const RenderPassCommand& pass_;
    ExecutionContext& context_;
    bool clears_;                                  ///< the rows are still to be cleared
    std::size_t firstGroup_ = 0, groupCount_ = 0;  ///< of the context's, those that are to be drawn
    ClearPixel clearPixel_;
    std::int64_t bytesPerRow_ = 0;  ///< read and written for one row by the draws that are set up, about
    std::int64_t bytes_ = 0;        ///< of the textures that they read
    bool streaming_ = false;        ///< results are stored past the caches
    Strips strips_{0, 0, 0, 1};
};

}  // namespace ondrix::software
