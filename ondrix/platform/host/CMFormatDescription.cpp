#include <cassert>

#include <ondrix/platform/coremedia/CMFormatDescription.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

class CMFormatDescription {
public:
    CMMediaType mediaType;
    OSType mediaSubType;
    CMVideoDimensions dimensions;
};

namespace {

CMVideoDimensions dimensionsOf(const CVPixelBuffer& imageBuffer) {
    return {static_cast<std::int32_t>(CVPixelBufferGetWidth(imageBuffer)),
            static_cast<std::int32_t>(CVPixelBufferGetHeight(imageBuffer))};
}

OSStatus makeDescription(const CMFormatDescription& description,
                         std::shared_ptr<CMFormatDescription>* formatDescription) {
    formatDescription->reset();
    return os::orStatus(kCMFormatDescriptionError_AllocationFailed, [&] {
        *formatDescription = std::make_shared<CMFormatDescription>(description);
        return noErr;
    });
}

}  // namespace

OSStatus CMFormatDescriptionCreate(CMMediaType mediaType, OSType mediaSubType,
                                   std::shared_ptr<CMFormatDescription>* formatDescription) {
    assert(formatDescription != nullptr);
    return makeDescription({mediaType, mediaSubType, {}}, formatDescription);
}

OSStatus CMVideoFormatDescriptionCreateForImageBuffer(const std::shared_ptr<CVPixelBuffer>& imageBuffer,
                                                      std::shared_ptr<CMFormatDescription>* formatDescription) {
    assert(formatDescription != nullptr);
    if (imageBuffer == nullptr) {
        formatDescription->reset();
        return kCMFormatDescriptionError_InvalidParameter;
    }
    return makeDescription(
        {kCMMediaType_Video, CVPixelBufferGetPixelFormatType(*imageBuffer), dimensionsOf(*imageBuffer)},
        formatDescription);
}

CMMediaType CMFormatDescriptionGetMediaType(const CMFormatDescription& description) {
    return description.mediaType;
}

OSType CMFormatDescriptionGetMediaSubType(const CMFormatDescription& description) {
    return description.mediaSubType;
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(const CMFormatDescription& description) {
    return description.dimensions;
}

bool CMVideoFormatDescriptionMatchesImageBuffer(const CMFormatDescription& description,
                                                const CVPixelBuffer& imageBuffer) {
    return description.mediaType == kCMMediaType_Video &&
           description.mediaSubType == CVPixelBufferGetPixelFormatType(imageBuffer) &&
           description.dimensions == dimensionsOf(imageBuffer);
}

}  // namespace ondrix
