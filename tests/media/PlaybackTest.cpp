// A player at work while its consumer does what users do, all at once.
#include <gtest/gtest.h>
#include <tests/media/Clip.h>
#include <tests/support/ManualClock.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/avfoundation/AVPlayer.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/metalkit/HeadlessView.h>

namespace ondrix {
namespace {

// A race or a deadlock between the decoding thread, the device's threads and the main thread; a frame of a source that
// is gone, or of another size than the view's.
TEST(PlaybackTest, SurvivesSeekingResizingAndDestroying) {
    const test::TemporaryFolder folder;
    test::ManualClock clock;
    test::Clip clip;
    clip.times.clear();
    for (int frame = 0; frame < 60; ++frame) clip.times.push_back(frame * 20);
    clip.write(folder.path() / "clip.mkv");

    const auto device = DeviceManager::shared().defaultDevice();
    const auto view = HeadlessView::create({64, 48}, device->mtlDevice());
    const auto screen = device->makeRenderViewTexture(view);
    const auto video = device->makeVideoTexture(nullptr);
    const auto effect = PresentTextureEffect::create(device, video, screen, MTLPixelFormat::bgra8Unorm,
                                                     ContentMode::scaleAspectFit, ImageRotation::degrees0, false);
    video->setOnFrameAvailable([&](VideoTexture&) {
        if (const auto drawable = view->currentDrawable()) effect->apply(drawable);
    });

    std::shared_ptr<AVPlayer> player;
    for (int round = 0; round < 400; ++round) {
        if (round % 67 == 0) {  // the item before it goes while it decodes
            player = AVPlayer::create(MoviePlayerItem::create(URL(folder.path() / "clip.mkv"), nullptr));
            video->set(AVPlayerItemFrameSource::create(player->currentItem()));
            player->play();
        }
        if (round % 7 == 0) player->seek(CMTimeMake(round % 60, 50));
        if (round % 5 == 0) view->setDrawableSize({40.0 + round % 30, 40});
        if (round % 11 == 0) player->setRate(round % 3);
        clock.advance(1.0 / 60);
        NSRunLoop::main().runUntilIdle();
    }
    player->play();
    const auto before = view->shownFrameCount();
    while (view->shownFrameCount() < before + 5) {
        if (player->rate() == 0) player->play();
        clock.advance(1.0 / 60);
        NSRunLoop::main().runUntilIdle();
    }
    EXPECT_EQ(CVPixelBufferGetWidth(*view->shownFrame()), static_cast<Int>(view->drawableSize().width));
    video->prepareForRelease();
}

}  // namespace
}  // namespace ondrix
