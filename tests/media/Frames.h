#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include <ondrix/platform/ffmpeg/MovieReader.h>

#include "tests/support/Picture.h"

namespace ondrix::test {

using Samples = std::vector<std::shared_ptr<CMSampleBuffer>>;

inline Samples readAll(MovieReader& reader) {
    Samples samples;
    while (auto sample = reader.copyNextSampleBuffer()) samples.push_back(std::move(sample));
    return samples;
}

/// Throws std::runtime_error with the reason.
inline std::shared_ptr<MovieReader> open(const std::filesystem::path& file,
                                         MovieFrameFormat format = MovieFrameFormat::BGRA) {
    NSError error;
    auto reader = MovieReader::open(URL(file), format, &error);
    if (!reader) throw std::runtime_error(error.localizedDescription());
    return reader;
}

inline Samples readAll(const std::filesystem::path& file, MovieFrameFormat format = MovieFrameFormat::BGRA) {
    return readAll(*open(file, format));
}

inline CMTime timeOf(const std::shared_ptr<CMSampleBuffer>& sample) {
    return CMSampleBufferGetPresentationTimeStamp(*sample);
}

/// Bytes of a plane without gaps.
inline std::vector<int> bytesOf(const std::shared_ptr<CMSampleBuffer>& sample, Int plane, Int bytesPerElement) {
    std::vector<int> bytes;
    forEachElement(
        *CMSampleBufferGetImageBuffer(*sample), plane, bytesPerElement,
        [&](const std::uint8_t* element, Int, Int) { bytes.insert(bytes.end(), element, element + bytesPerElement); });
    return bytes;
}

}  // namespace ondrix::test
