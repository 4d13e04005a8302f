#pragma once

/// What the statements in the documents are given: each block is the body of a function that sees these names.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/platform/ffmpeg/LiveSource.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/platform/sdl/WindowView.h>

using namespace ondrix;

namespace cv {
/// Stands for OpenCV's class, which isn't needed to build Ondrix.
struct Mat {
    int rows, cols;
    unsigned char* data;
    std::size_t step;
};
}  // namespace cv

constexpr auto format = MTLPixelFormat::bgra8Unorm;

extern const std::shared_ptr<Device> device;
extern const std::shared_ptr<MetalTextureConverter> converter;
extern const std::shared_ptr<CVPixelBufferPool> pool;  // in BGRA, of the output's size
extern const std::shared_ptr<Texture> input, output;
extern const std::shared_ptr<VideoTexture> video;
extern const std::shared_ptr<CMSampleBufferFrameSource> source;
extern const std::shared_ptr<MovieReader> reader;
extern const std::shared_ptr<MovieWriter> writer;
extern const std::shared_ptr<ShaderLibrary> library;
extern const std::shared_ptr<Shader> shader;
extern const std::shared_ptr<Effect> effect;
extern const std::shared_ptr<MTKView> view;
extern std::shared_ptr<CVPixelBuffer> pixels;
extern NSError error;
